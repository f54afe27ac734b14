#include "deck/window/DeckWindow.h"

#include "deck/window/Lamp.h"
#include "deck/window/MonitorView.h"
#include "deck/window/PictureView.h"

#include <QAbstractItemView>
#include <QApplication>
#include <QBoxLayout>
#include <QCheckBox>
#include <QComboBox>
#include <QFontDatabase>
#include <QFormLayout>
#include <QGroupBox>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QStyleFactory>
#include <QTimer>

namespace deck::window {

namespace {

using namespace std::chrono_literals;

constexpr int kRefreshMillis = 33;
constexpr auto kLampTime = 400ms; // long enough to be seen from across the room

QString Text(const std::string& text)
{
    return QString::fromStdString(text);
}

QString StateText(const WindowState& state)
{
    if (state.isRecording) {
        return QObject::tr("RECORD");
    }
    return Text(state.state).toUpper();
}

QColor StateColour(const WindowState& state)
{
    if (state.isRecording) {
        return {0xff, 0x4d, 0x4d};
    }
    if (state.state == "play") {
        return {0x3f, 0xd0, 0x6a};
    }
    return state.state == "stop" ? QColor(0xb8, 0xbc, 0xc4) : QColor(0xff, 0xb0, 0x30);
}

} // namespace

DeckWindow::DeckWindow(WindowModel& model, const Options& options)
    : mModel(model)
    , mOptions(options)
{
    mPicture = new PictureView;
    mPicture->SetPlayer(mModel.Video());
    mPicture->setVisible(mModel.Video() != nullptr);

    auto* deck = new QVBoxLayout;
    deck->addWidget(mPicture, 1);
    deck->addWidget(MakeDisplay(), mModel.Video() ? 0 : 1);
    deck->addWidget(MakeTransport());
    auto* side = new QVBoxLayout;
    side->addWidget(MakePorts());
    mMonitor = new MonitorView;
    side->addWidget(mMonitor, 1);
    auto* all = new QHBoxLayout(this);
    all->addLayout(deck, 3);
    all->addLayout(side, 2);

    setFocusPolicy(Qt::StrongFocus); // keys are the transport's until a button is tabbed to
    setFocus();
    resize(1180, 680);
    mTimer = new QTimer(this);
    connect(mTimer, &QTimer::timeout, this, [this] { Refresh(); });
    mTimer->start(kRefreshMillis);
    Refresh();
}

DeckWindow::~DeckWindow()
{
    mPicture->SetPlayer(nullptr);
}

QWidget* DeckWindow::MakeDisplay()
{
    mTimecode = new QLabel;
    mTimecode->setAlignment(Qt::AlignCenter);
    mTimecode->setObjectName("Timecode");
    mTimecode->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    mTimecode->setMinimumHeight(100);
    mTimecode->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Expanding);
    mStateText = new QLabel;
    mStateText->setObjectName("State");
    mRateText = new QLabel;
    mRateText->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    QFont large = font();
    large.setPointSizeF(large.pointSizeF() * 1.8);
    large.setBold(true);
    mStateText->setFont(large);
    mRateText->setFont(large);

    auto* box = new QWidget;
    auto* rows = new QVBoxLayout(box);
    rows->setContentsMargins(0, 0, 0, 0);
    rows->addWidget(mTimecode, 1);
    auto* line = new QHBoxLayout;
    line->addWidget(mStateText);
    line->addStretch();
    line->addWidget(mRateText);
    rows->addLayout(line);
    return box;
}

QPushButton* DeckWindow::MakeButton(const QString& text, const QString& name, Button button)
{
    auto* widget = new QPushButton(text);
    widget->setAccessibleName(name);
    widget->setToolTip(name);
    widget->setMinimumHeight(40);
    connect(widget, &QPushButton::clicked, this, [this, button] { mModel.Press(button); });
    return widget;
}

QWidget* DeckWindow::MakeTransport()
{
    auto* box = new QWidget;
    auto* line = new QHBoxLayout(box);
    line->setContentsMargins(0, 0, 0, 0);
    line->addWidget(MakeButton(tr("<< Re&wind"), tr("Rewind"), Button::Rewind));
    line->addWidget(MakeButton(tr("&Stop"), tr("Stop"), Button::Stop));
    line->addWidget(MakeButton(tr("&Play"), tr("Play"), Button::Play));
    line->addWidget(MakeButton(tr("P&ause"), tr("Pause"), Button::Pause));
    line->addWidget(MakeButton(tr("&Forward >>"), tr("Fast forward"), Button::Forward));
    line->addWidget(MakeButton(tr("&Record"), tr("Record"), Button::Record));
    line->addStretch();
    auto* label = new QLabel(tr("&Locate"));
    mLocateText = new QLineEdit;
    mLocateText->setObjectName("Locate");
    mLocateText->setPlaceholderText("hh:mm:ss:ff");
    mLocateText->setMaximumWidth(150);
    mLocateText->setAccessibleName(tr("Locate to time code"));
    label->setBuddy(mLocateText);
    line->addWidget(label);
    line->addWidget(mLocateText);
    connect(mLocateText, &QLineEdit::returnPressed, this, [this] { Locate(); });
    return box;
}

QWidget* DeckWindow::MakePorts()
{
    mInput = new QComboBox;
    mInput->setObjectName("Input");
    mOutput = new QComboBox;
    mOutput->setObjectName("Output");
    mTransmit = new QCheckBox(tr("&Transmit MIDI Time Code"));
    mMMCLamp = new Lamp(tr("MMC in"));
    mMMCLamp->setObjectName("MMCLamp");
    mMTCLamp = new Lamp(tr("MTC out"));
    mTroubleLamp = new Lamp(tr("Trouble"));
    mSenderRate = new QLabel;
    mClock = new QLabel;
    mClock->setObjectName("Clock");
    mClock->setToolTip(tr("How late the deck's own clock ticked for its frames,\n"
                          "and how far the picture is ahead (+) or behind (-) of it"));
    mTrouble = new QLabel;
    mTrouble->setObjectName("Trouble");
    mTrouble->setWordWrap(true);
    mTrouble->setMinimumHeight(2 * fontMetrics().lineSpacing());
    mTrouble->setAlignment(Qt::AlignTop);
    for (QComboBox* picker : {mInput, mOutput}) {
        picker->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Fixed);
        connect(picker, &QComboBox::activated, this, [this] { ChoosePorts(); });
    }
    connect(mTransmit, &QCheckBox::clicked, this, [this] { ChoosePorts(); });

    auto* box = new QGroupBox(tr("MIDI"));
    auto* rows = new QGridLayout(box);
    rows->setColumnStretch(2, 1);
    const auto add = [&](int row, Lamp* lamp, const QString& text, QWidget* widget) {
        auto* label = new QLabel(text);
        label->setBuddy(widget);
        rows->addWidget(lamp, row, 0, Qt::AlignVCenter);
        rows->addWidget(label, row, 1);
        rows->addWidget(widget, row, 2);
    };
    add(0, mMMCLamp, tr("MMC &in"), mInput);
    add(1, mMTCLamp, tr("MTC &out"), mOutput);
    rows->addWidget(mTransmit, 2, 2);
    rows->addWidget(new QLabel(tr("Sender's rate")), 3, 1);
    rows->addWidget(mSenderRate, 3, 2);
    rows->addWidget(new QLabel(tr("Clock")), 4, 1);
    rows->addWidget(mClock, 4, 2);
    rows->addWidget(mTroubleLamp, 5, 0, Qt::AlignTop);
    rows->addWidget(mTrouble, 5, 1, 1, 2);
    return box;
}

void DeckWindow::Refresh()
{
    const WindowState state = mModel.Read();
    ShowState(state);
    ShowLamps(state);
    mMonitor->Add(mModel.TakeRows());
}

void DeckWindow::ShowState(const WindowState& state)
{
    setWindowTitle(state.title.empty() ? "korva-deck" : Text(state.title) + " - korva-deck");
    mTimecode->setText(Text(state.timecode));
    FitTimecode();
    mPicture->SetBurnIn(mOptions.burnIn ? Text(state.timecode) : QString());
    mStateText->setText(StateText(state));
    QPalette colours = mStateText->palette();
    colours.setColor(QPalette::WindowText, StateColour(state));
    mStateText->setPalette(colours);
    mRateText->setText(Text(std::string(state.rate.Name())) + " fps");
    mSenderRate->setText(state.senderRate.empty() ? tr("no locate yet") : Text(state.senderRate));
    const QString clock = state.clock.empty() ? tr("not rolled yet") : Text(state.clock);
    mClock->setText(state.picture.empty() ? clock : clock + "\n" + Text(state.picture));
    mFilling = true;
    const bool own = state.hasOwnPorts;
    FillPicker(*mInput, own ? tr("only the deck's own \"MMC in\"") : tr("none"), state.inputs,
        state.input);
    FillPicker(*mOutput, own ? tr("only the deck's own \"MTC out\"") : tr("none"), state.outputs,
        state.output);
    mTransmit->setChecked(state.transmitsMTC);
    mFilling = false;
}

void DeckWindow::ShowLamps(const WindowState& state)
{
    const auto show = [&](Lamp& lamp, const std::optional<std::chrono::nanoseconds>& since) {
        if (since && *since < kLampTime) {
            lamp.Set(Lamp::Colour::Green, tr("now"));
        } else if (state.isBound || state.hasOwnPorts) {
            lamp.Set(Lamp::Colour::Off, since ? tr("quiet") : tr("nothing yet"));
        } else {
            lamp.Set(Lamp::Colour::Amber, tr("no ports bound"));
        }
    };
    show(*mMMCLamp, state.sinceMMC);
    show(*mMTCLamp, state.sinceMTC);
    const QString trouble = mLocateProblem.isEmpty() ? Text(state.trouble) : mLocateProblem;
    mTrouble->setText(trouble);
    mTroubleLamp->Set(trouble.isEmpty() ? Lamp::Colour::Off : Lamp::Colour::Red,
        trouble.isEmpty() ? tr("none") : trouble);
}

/// Leaves an open list and an unchanged one alone.
void DeckWindow::FillPicker(QComboBox& picker,
    const QString& nothing,
    const std::vector<PortChoice>& ports,
    const std::optional<std::int32_t>& chosen)
{
    QStringList names;
    QList<qint64> ids{qint64{1} << 40}; // nothing: no port has it, IDs have 32 bits
    names << nothing;
    for (const PortChoice& port : ports) {
        names << Text(port.name) + (port.isAmbiguous ? tr(" (ambiguous)") : QString());
        ids << port.id;
    }
    if (chosen && !ids.contains(*chosen)) {
        names << tr("%1 (not there)").arg(*chosen);
        ids << *chosen;
    }
    const int index = chosen ? static_cast<int>(ids.indexOf(*chosen)) : 0;
    const QString all = names.join('\n');
    if (picker.property("listed").toString() != all) {
        picker.setProperty("listed", all);
        picker.clear();
        for (int row = 0; row < names.size(); ++row) {
            picker.addItem(names[row], row == 0 ? QVariant() : QVariant(ids[row]));
        }
    }
    if (picker.currentIndex() != index && !picker.view()->isVisible()) {
        picker.setCurrentIndex(index);
    }
}

void DeckWindow::ChoosePorts()
{
    if (mFilling) {
        return;
    }
    const auto chosen = [](const QComboBox& picker) -> std::optional<std::int32_t> {
        const QVariant id = picker.currentData();
        return id.isValid() ? std::optional(static_cast<std::int32_t>(id.toLongLong()))
                            : std::nullopt;
    };
    mModel.ChoosePorts(chosen(*mInput), chosen(*mOutput), mTransmit->isChecked());
}

void DeckWindow::Locate()
{
    mLocateProblem = Text(mModel.Locate(mLocateText->text().toStdString()));
    mLocateText->setStyleSheet(mLocateProblem.isEmpty() ? "" : "border: 2px solid #ff4d4d;");
    if (mLocateProblem.isEmpty()) {
        mLocateText->clear();
        setFocus();
    } else {
        mLocateText->selectAll();
    }
    Refresh();
}

/// As large as the label allows: it is read from three metres.
void DeckWindow::FitTimecode()
{
    QFont font = mTimecode->font();
    const QRect room = mTimecode->contentsRect();
    const qsizetype characters = qMax<qsizetype>(mTimecode->text().size(), 11);
    const int byWidth = static_cast<int>(room.width() / (static_cast<double>(characters) * 0.62));
    const int size = qMax(20, qMin(byWidth, room.height() * 8 / 10));
    if (font.pixelSize() != size) {
        font.setPixelSize(size);
        mTimecode->setFont(font);
    }
}

void DeckWindow::resizeEvent(QResizeEvent*)
{
    FitTimecode();
}

void DeckWindow::keyPressEvent(QKeyEvent* event)
{
    switch (event->key()) {
    case Qt::Key_Space:
        mModel.Press(mModel.Read().state == "stop" ? Button::Play : Button::Stop);
        break;
    case Qt::Key_Left:
        mModel.Step(-1);
        break;
    case Qt::Key_Right:
        mModel.Step(1);
        break;
    case Qt::Key_F11:
        ToggleFullScreen();
        break;
    case Qt::Key_Escape:
        showNormal();
        break;
    default:
        QWidget::keyPressEvent(event);
    }
}

void DeckWindow::ToggleFullScreen()
{
    if (isFullScreen()) {
        showNormal();
    } else {
        showFullScreen();
    }
}

void UseDarkColours()
{
    QApplication::setStyle(QStyleFactory::create("Fusion"));
    QPalette dark;
    const QColor text(0xe6, 0xe8, 0xec);
    dark.setColor(QPalette::Window, {0x1b, 0x1d, 0x21});
    dark.setColor(QPalette::WindowText, text);
    dark.setColor(QPalette::Base, {0x12, 0x13, 0x16});
    dark.setColor(QPalette::AlternateBase, {0x1f, 0x21, 0x26});
    dark.setColor(QPalette::Text, text);
    dark.setColor(QPalette::PlaceholderText, {0x80, 0x86, 0x90});
    dark.setColor(QPalette::Button, {0x2c, 0x2f, 0x36});
    dark.setColor(QPalette::ButtonText, text);
    dark.setColor(QPalette::ToolTipBase, {0x2c, 0x2f, 0x36});
    dark.setColor(QPalette::ToolTipText, text);
    dark.setColor(QPalette::Highlight, {0x2f, 0x7d, 0xe0});
    dark.setColor(QPalette::HighlightedText, Qt::white);
    for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText}) {
        dark.setColor(QPalette::Disabled, role, {0x70, 0x75, 0x7e});
    }
    QApplication::setPalette(dark);
}

} // namespace deck::window
