// The deck on a second screen: picture, large time code, transport, ports with
// their lamps, and the live monitor.

#pragma once

#include "deck/window/WindowModel.h"

#include <QString>
#include <QWidget>

class QCheckBox;
class QComboBox;
class QGridLayout;
class QLabel;
class QLineEdit;
class QPushButton;
class QTimer;

namespace deck::window {

class Lamp;
class MonitorView;
class PictureView;
class Switch;

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

    /// The picture alone on a whole screen; without a video the time code.
    void FillScreen(bool isFilled);

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    QWidget* MakeDisplay();
    QLayout* MakeStateLine();
    QWidget* MakeTransport();
    QWidget* MakeSide();
    QWidget* MakePorts();
    void AddPort(int row, Lamp& lamp, const QString& text, QComboBox& picker);
    void AddFact(int row, const QString& text, QLabel*& label, const char* name);
    QPushButton* MakeButton(
        const QString& text, const QString& name, const QString& key, Button button);
    void ShowState(const WindowState& state);
    void ShowFacts(const WindowState& state);
    void ShowPorts(const WindowState& state);
    void ShowLamps(const WindowState& state);
    void ShowNotices(const WindowState& state);
    void FillPicker(QComboBox& picker,
        const QString& nothing,
        const std::vector<PortChoice>& ports,
        const std::optional<std::int32_t>& chosen,
        const std::string& lastName);
    void ChoosePorts();
    void Locate();
    void ShowLocateProblem(const QString& problem);
    bool StepByKey(const QKeyEvent& event);
    bool TypeLocate(const QKeyEvent& event);
    void LeaveOrRest();
    void FitTimecode();
    void FitState();

    WindowModel& mModel;
    PictureView* mPicture = nullptr;
    QWidget* mDisplay = nullptr;
    QLabel* mTimecode = nullptr;
    QLabel* mStateText = nullptr;
    QLabel* mRateText = nullptr;
    QLabel* mAlarm = nullptr;
    Switch* mBurnIn = nullptr;
    Switch* mSound = nullptr;
    Switch* mFullScreen = nullptr;
    QWidget* mTransport = nullptr;
    QLineEdit* mLocateText = nullptr;
    QWidget* mSide = nullptr;
    QGridLayout* mFacts = nullptr;
    QComboBox* mInput = nullptr;
    QComboBox* mOutput = nullptr;
    QCheckBox* mTransmit = nullptr;
    QLabel* mSenderRate = nullptr;
    QLabel* mFilm = nullptr;
    QLabel* mPictureText = nullptr;
    QLabel* mClock = nullptr;
    QLabel* mNotices = nullptr;
    Lamp* mMMCLamp = nullptr;
    Lamp* mMTCLamp = nullptr;
    Lamp* mTroubleLamp = nullptr;
    MonitorView* mMonitor = nullptr;
    QTimer* mTimer = nullptr;
    QString mLocateProblem; // what is wrong with the last locate typed, or nothing
    bool mFilling = false;  // the pickers change by our own hand
};

/// Dark, whatever the desktop's colours are. Call it once on the QApplication.
void UseDarkColours();

} // namespace deck::window
