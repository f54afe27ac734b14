// The deck on a second screen: picture, large time code, transport, ports with
// their lamps, and the live monitor.

#pragma once

#include "deck/window/WindowModel.h"

#include <QString>
#include <QWidget>

class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;
class QPushButton;
class QTimer;

namespace deck::window {

class Lamp;
class MonitorView;
class PictureView;

/// All of it on the thread of the QApplication.
class DeckWindow final : public QWidget {
public:
    struct Options {
        bool burnIn = false;
    };

    /// `model` outlives the window.
    DeckWindow(WindowModel& model, const Options& options);
    ~DeckWindow() override;

    /// Shows what the model says now; a timer does it 30 times a second.
    void Refresh();

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    QWidget* MakeDisplay();
    QWidget* MakeTransport();
    QWidget* MakePorts();
    QPushButton* MakeButton(const QString& text, const QString& name, Button button);
    void FillPicker(QComboBox& picker,
        const QString& nothing,
        const std::vector<PortChoice>& ports,
        const std::optional<std::int32_t>& chosen);
    void ChoosePorts();
    void Locate();
    void ShowState(const WindowState& state);
    void ShowLamps(const WindowState& state);
    void FitTimecode();
    void ToggleFullScreen();

    WindowModel& mModel;
    Options mOptions;
    PictureView* mPicture = nullptr;
    QLabel* mTimecode = nullptr;
    QLabel* mStateText = nullptr;
    QLabel* mRateText = nullptr;
    QLabel* mTrouble = nullptr;
    QLabel* mSenderRate = nullptr;
    QLineEdit* mLocateText = nullptr;
    QComboBox* mInput = nullptr;
    QComboBox* mOutput = nullptr;
    QCheckBox* mTransmit = nullptr;
    Lamp* mMMCLamp = nullptr;
    Lamp* mMTCLamp = nullptr;
    Lamp* mTroubleLamp = nullptr;
    QLabel* mClock = nullptr;
    MonitorView* mMonitor = nullptr;
    QTimer* mTimer = nullptr;
    QString mLocateProblem; // what is wrong with the last locate typed, or nothing
    bool mFilling = false;  // the pickers change by our own hand
};

/// Dark, whatever the desktop's colours are. Call it once on the QApplication.
void UseDarkColours();

} // namespace deck::window
