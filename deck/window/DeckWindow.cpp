#include "deck/window/DeckWindow.h"

#include "deck/window/Lamp.h"
#include "deck/window/MonitorView.h"
#include "deck/window/PictureView.h"
#include "deck/window/Switch.h"

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
#include <QMouseEvent>
#include <QPushButton>
#include <QStyle>
#include <QStyleFactory>
#include <QTimer>

namespace deck::window {

namespace {

using namespace std::chrono_literals;

constexpr int kRefreshMillis = 33;
constexpr auto kLampTime = 400ms; // long enough to be seen from across the room
constexpr QChar kHyphen(0x2011);  // without a line break behind it
const QColor kGreen(0x3f, 0xd0, 0x6a);
const QColor kAmber(0xff, 0xb0, 0x30);
const QColor kRed(0xff, 0x4d, 0x4d);
const QColor kGrey(0xb8, 0xbc, 0xc4);

QString Text(const std::string& text)
{
    return QString::fromStdString(text);
}

QString StateText(const WindowState& state)
{
    if (!state.isReady) {
        return QObject::tr("WAITING");
    }
    if (state.isRecording) {
        return state.take > 0 ? QObject::tr("RECORD %1").arg(state.take) : QObject::tr("RECORD");
    }
    return Text(state.state).toUpper();
}

QColor StateColour(const WindowState& state)
{
    if (state.isReady && state.isRecording) {
        return kRed;
    }
    if (state.isReady && state.state == "play") {
        return kGreen;
    }
    return state.isReady && state.state == "stop" ? kGrey : kAmber;
}

void SetColour(QWidget& widget, const QColor& colour)
{
    QPalette colours = widget.palette();
    if (colours.color(QPalette::WindowText) != colour) {
        colours.setColor(QPalette::WindowText, colour);
        widget.setPalette(colours);
    }
}

/// Back to one line where it is narrow, and all of it to who points at it.
void SetFact(QLabel& label, const QString& text)
{
    if (label.text() != text) {
        label.setText(text);
        label.setToolTip(label.statusTip().isEmpty() ? text : text + "\n" + label.statusTip());
    }
}

} // namespace

DeckWindow::DeckWindow(WindowModel& model, const Options& options)
    : mModel(model)
{
    mPicture = new PictureView;
    mPicture->SetPlayer(mModel.Video());
    mPicture->setVisible(mModel.Video() != nullptr);
    mDisplay = MakeDisplay();
    mBurnIn->setChecked(options.burnIn);
    mTransport = MakeTransport();
    mSide = MakeSide();

    auto* deck = new QVBoxLayout;
    deck->addWidget(mPicture, 5);
    deck->addWidget(mDisplay, 1);
    deck->addWidget(mTransport);
    auto* all = new QHBoxLayout(this);
    all->addLayout(deck, 3);
    all->addWidget(mSide, 2);

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
    mTimecode->setMinimumHeight(90);
    mTimecode->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Expanding);

    auto* box = new QWidget;
    auto* rows = new QVBoxLayout(box);
    rows->setContentsMargins(0, 0, 0, 0);
    rows->addWidget(mTimecode, 1);
    rows->addLayout(MakeStateLine());
    return box;
}

QLayout* DeckWindow::MakeStateLine()
{
    mStateText = new QLabel;
    mStateText->setObjectName("State");
    mRateText = new QLabel;
    mRateText->setObjectName("Rate");
    mRateText->setToolTip(tr("Frames a second of the deck"));
    mAlarm = new QLabel(tr("TROUBLE"));
    mAlarm->setObjectName("Alarm");
    mAlarm->setToolTip(tr("Escape takes away what was told once"));
    SetColour(*mAlarm, kRed);
    mBurnIn = new Switch(tr("&Burn-in"), tr("Time code over the picture"));
    mSound = new Switch(tr("So&und"), tr("Play the film's sound"));
    mSound->setObjectName("Sound");
    mFullScreen = new Switch(tr("Full scree&n"), tr("Fill the screen (F11, or a double click)"));
    connect(mBurnIn, &QPushButton::clicked, this, [this] { Refresh(); });
    connect(mSound, &QPushButton::clicked, this, [this](bool on) { mModel.PlaySound(on); });
    connect(mFullScreen, &QPushButton::clicked, this, [this](bool on) { FillScreen(on); });
    mBurnIn->setVisible(mModel.Video() != nullptr);

    auto* line = new QHBoxLayout;
    line->addWidget(mStateText);
    line->addSpacing(16);
    line->addWidget(mAlarm);
    line->addStretch();
    line->addWidget(mBurnIn);
    line->addWidget(mSound);
    line->addWidget(mFullScreen);
    line->addStretch();
    line->addWidget(mRateText);
    return line;
}

QPushButton* DeckWindow::MakeButton(
    const QString& text, const QString& name, const QString& key, Button button)
{
    auto* widget = new QPushButton(text);
    widget->setAccessibleName(name);
    widget->setToolTip(name + " (" + key + ")");
    widget->setMinimumSize(
        fontMetrics().size(Qt::TextShowMnemonic, text).width() + 16, 40); // fits small screens too
    widget->setFocusPolicy(Qt::TabFocus); // a click leaves the keyboard to the transport
    connect(widget, &QPushButton::clicked, this, [this, button] { mModel.Press(button); });
    return widget;
}

QWidget* DeckWindow::MakeTransport()
{
    auto* box = new QWidget;
    auto* line = new QHBoxLayout(box);
    line->setContentsMargins(0, 0, 0, 0);
    line->addWidget(MakeButton(tr("<< Re&wind"), tr("Rewind"), tr("Alt+W"), Button::Rewind));
    line->addWidget(MakeButton(tr("&Stop"), tr("Stop"), tr("Space, Alt+S"), Button::Stop));
    line->addWidget(MakeButton(tr("&Play"), tr("Play"), tr("Space, Alt+P"), Button::Play));
    line->addWidget(MakeButton(tr("P&ause"), tr("Pause"), tr("Alt+A"), Button::Pause));
    line->addWidget(
        MakeButton(tr("&Forward >>"), tr("Fast forward"), tr("Alt+F"), Button::Forward));
    line->addWidget(MakeButton(tr("&Record"), tr("Record"), tr("Alt+R"), Button::Record));
    line->addStretch();
    auto* label = new QLabel(tr("&Locate"));
    mLocateText = new QLineEdit;
    mLocateText->setObjectName("Locate");
    mLocateText->setPlaceholderText("hh:mm:ss:ff");
    mLocateText->setToolTip(tr("Type a time code, then Enter. The arrow keys step a frame, with "
                               "Shift a second;\nHome and End go to the film's ends."));
    mLocateText->setMinimumWidth(fontMetrics().horizontalAdvance("00:00:00:00  ") * 5 / 4);
    mLocateText->setMaximumWidth(mLocateText->minimumWidth() * 5 / 4);
    mLocateText->setAccessibleName(tr("Locate to time code"));
    label->setBuddy(mLocateText);
    line->addWidget(label);
    line->addWidget(mLocateText);
    connect(mLocateText, &QLineEdit::returnPressed, this, [this] { Locate(); });
    connect(mLocateText, &QLineEdit::textEdited, this, [this] { ShowLocateProblem({}); });
    return box;
}

QWidget* DeckWindow::MakeSide()
{
    auto* box = new QWidget;
    auto* rows = new QVBoxLayout(box);
    rows->setContentsMargins(0, 0, 0, 0);
    rows->addWidget(MakePorts());
    mMonitor = new MonitorView;
    rows->addWidget(mMonitor, 1);
    return box;
}

QWidget* DeckWindow::MakePorts()
{
    mInput = new QComboBox;
    mInput->setObjectName("Input");
    mOutput = new QComboBox;
    mOutput->setObjectName("Output");
    mTransmit = new QCheckBox(tr("&Transmit MIDI Time Code"));
    mTransmit->setFocusPolicy(Qt::TabFocus);
    mMMCLamp = new Lamp(tr("MMC in"));
    mMMCLamp->setObjectName("MMCLamp");
    mMTCLamp = new Lamp(tr("MTC out"));
    mMTCLamp->setObjectName("MTCLamp");
    mTroubleLamp = new Lamp(tr("Trouble"));
    mTroubleLamp->setObjectName("TroubleLamp");
    mNotices = new QLabel;
    mNotices->setObjectName("Trouble");
    mNotices->setWordWrap(true);
    mNotices->setMinimumHeight(4 * fontMetrics().lineSpacing());
    mNotices->setAlignment(Qt::AlignTop);
    mNotices->setContentsMargins(0, 2, 0, 0); // level with the lamp
    connect(mTransmit, &QCheckBox::clicked, this, [this] { ChoosePorts(); });

    auto* box = new QGroupBox(tr("Ports and rates"));
    mFacts = new QGridLayout(box);
    mFacts->setColumnStretch(2, 1);
    AddPort(0, *mMMCLamp, tr("MMC &in"), *mInput);
    AddPort(1, *mMTCLamp, tr("MTC &out"), *mOutput);
    mFacts->addWidget(mTransmit, 2, 2);
    AddFact(3, tr("Sender's rate"), mSenderRate, "SenderRate");
    AddFact(4, tr("Film"), mFilm, "Film");
    AddFact(5, tr("Picture"), mPictureText, "Picture");
    mPictureText->setStatusTip(tr("Ahead of the deck's clock (+) or behind it (-)"));
    AddFact(6, tr("Clock"), mClock, "Clock");
    mClock->setStatusTip(tr("How late the deck's own clock ticked for its frames"));
    mFacts->addWidget(mTroubleLamp, 7, 0, Qt::AlignTop);
    mFacts->addWidget(mNotices, 7, 1, 1, 2);
    return box;
}

void DeckWindow::AddPort(int row, Lamp& lamp, const QString& text, QComboBox& picker)
{
    auto* label = new QLabel(text);
    label->setBuddy(&picker);
    picker.setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Fixed);
    picker.setFocusPolicy(Qt::TabFocus);
    picker.view()->setTextElideMode(Qt::ElideMiddle); // ports of one device differ at the end
    connect(&picker, &QComboBox::activated, this, [this] { ChoosePorts(); });
    mFacts->addWidget(&lamp, row, 0, Qt::AlignVCenter);
    mFacts->addWidget(label, row, 1);
    mFacts->addWidget(&picker, row, 2);
}

void DeckWindow::AddFact(int row, const QString& text, QLabel*& label, const char* name)
{
    const bool isOfTheFilm = text == tr("Film") || text == tr("Picture");
    auto* title = new QLabel(text);
    label = new QLabel;
    label->setObjectName(name);
    label->setAccessibleName(text);
    label->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    mFacts->addWidget(title, row, 1);
    mFacts->addWidget(label, row, 2);
    title->setVisible(!isOfTheFilm || mModel.Video());
    label->setVisible(!isOfTheFilm || mModel.Video());
}

void DeckWindow::Refresh()
{
    const WindowState state = mModel.Read();
    ShowState(state);
    ShowFacts(state);
    ShowPorts(state);
    ShowLamps(state);
    ShowNotices(state);
    mMonitor->Add(mModel.TakeRows());
}

void DeckWindow::ShowState(const WindowState& state)
{
    setWindowTitle(state.title.empty() ? "korva-deck" : Text(state.title) + " - korva-deck");
    mTimecode->setText(Text(state.timecode));
    FitTimecode();
    mPicture->SetBurnIn(mBurnIn->isChecked() ? Text(state.timecode) : QString());
    mStateText->setText(StateText(state));
    SetColour(*mStateText, StateColour(state));
    mRateText->setText(Text(std::string(state.rate.Name())) + " fps");
    mSound->setVisible(state.hasSound.has_value());
    mSound->setChecked(state.hasSound.value_or(false));
    mTransport->setEnabled(state.isReady);
    mInput->setEnabled(state.isReady);
    mOutput->setEnabled(state.isReady);
    mTransmit->setEnabled(state.isReady);
}

void DeckWindow::ShowFacts(const WindowState& state)
{
    QString sender = state.senderRate.empty() ? tr("no locate yet") : Text(state.senderRate);
    if (state.isSenderAtFault) {
        sender += tr(", the deck's is ") + Text(std::string(state.rate.Name()));
    }
    SetFact(*mSenderRate, sender);
    SetFact(*mFilm, Text(state.film));
    SetFact(*mPictureText, Text(state.picture));
    SetFact(*mClock, state.clock.empty() ? tr("not rolled yet") : Text(state.clock));
    const auto mark = [this](QLabel& label, bool isBad) {
        SetColour(label, isBad ? kAmber : palette().color(QPalette::WindowText));
    };
    mark(*mSenderRate, state.isSenderAtFault);
    mark(*mPictureText, state.isPictureOff);
    mark(*mClock, state.isClockLate);
}

void DeckWindow::ShowPorts(const WindowState& state)
{
    mFilling = true;
    const bool own = state.hasOwnPorts;
    FillPicker(*mInput, own ? tr("only the deck's own \"MMC in\"") : tr("none"), state.inputs,
        state.input, state.inputName);
    FillPicker(*mOutput, own ? tr("only the deck's own \"MTC out\"") : tr("none"), state.outputs,
        state.output, state.outputName);
    mTransmit->setChecked(state.transmitsMTC);
    mFilling = false;
}

void DeckWindow::ShowLamps(const WindowState& state)
{
    const auto show = [&](Lamp& lamp, const std::optional<std::chrono::nanoseconds>& since) {
        const bool isChosen = state.input || state.output;
        if (since && *since < kLampTime) {
            lamp.Set(Lamp::Colour::Green, tr("now"));
        } else if (state.isBound || (state.hasOwnPorts && !isChosen)) {
            lamp.Set(Lamp::Colour::Off, since ? tr("quiet") : tr("nothing yet"));
        } else {
            lamp.Set(Lamp::Colour::Amber, tr("no ports bound"));
        }
    };
    show(*mMMCLamp, state.sinceMMC);
    show(*mMTCLamp, state.sinceMTC);
}

void DeckWindow::ShowNotices(const WindowState& state)
{
    QStringList lines;
    bool isWarning = false;
    if (!mLocateProblem.isEmpty()) {
        lines << mLocateProblem;
    }
    for (const Notice& notice : state.notices) {
        lines << Text(notice.text);
        isWarning = isWarning || notice.severity == Severity::Warning;
    }
    QString text = lines.isEmpty() ? tr("No trouble") : lines.join('\n');
    text.replace("-", kHyphen); // an option is not to be torn apart
    mAlarm->setVisible(isWarning);
    if (mNotices->text() != text) {
        mNotices->setText(text);
        mNotices->setToolTip(text);
    }
    const auto colour = isWarning ? Lamp::Colour::Red : Lamp::Colour::Amber;
    mTroubleLamp->Set(lines.isEmpty() ? Lamp::Colour::Off : colour,
        lines.isEmpty() ? tr("none") : lines.join(' '));
}

/// Leaves an open list and an unchanged one alone.
void DeckWindow::FillPicker(QComboBox& picker,
    const QString& nothing,
    const std::vector<PortChoice>& ports,
    const std::optional<std::int32_t>& chosen,
    const std::string& lastName)
{
    if (picker.view()->isVisible()) {
        return;
    }
    QStringList names;
    QList<qint64> ids{qint64{1} << 40}; // nothing: no port has it, IDs have 32 bits
    names << nothing;
    for (const PortChoice& port : ports) {
        names << Text(port.name)
                + (port.isAmbiguous ? tr(" (ambiguous, ID %1)").arg(port.id) : QString());
        ids << port.id;
    }
    if (chosen && !ids.contains(*chosen)) {
        names << tr("%1 (not there)")
                     .arg(lastName.empty() ? QString::number(*chosen) : Text(lastName));
        ids << *chosen;
    }
    const int index = chosen ? static_cast<int>(ids.indexOf(*chosen)) : 0;
    const QString all = names.join('\n');
    if (picker.property("listed").toString() != all) {
        picker.setProperty("listed", all);
        picker.clear();
        for (int row = 0; row < names.size(); ++row) {
            picker.addItem(names[row], row == 0 ? QVariant() : QVariant(ids[row]));
            picker.setItemData(row, names[row], Qt::ToolTipRole); // where it is too long
        }
    }
    if (picker.currentIndex() != index) {
        picker.setCurrentIndex(index);
    }
    if (picker.toolTip() != names[index]) {
        picker.setToolTip(names[index]);
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

void DeckWindow::ShowLocateProblem(const QString& problem)
{
    mLocateProblem = problem;
    mLocateText->setStyleSheet(problem.isEmpty() ? "" : "border: 2px solid #ff4d4d;");
}

void DeckWindow::Locate()
{
    ShowLocateProblem(Text(mModel.Locate(mLocateText->text().toStdString())));
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

/// In step with the window: on a large screen they are read from farther away.
void DeckWindow::FitState()
{
    QFont large = font();
    large.setPixelSize(qBound(24, height() / 26, 96));
    large.setBold(true);
    for (QLabel* label : {mStateText, mAlarm, mRateText}) {
        label->setFont(large);
    }
}

void DeckWindow::resizeEvent(QResizeEvent*)
{
    FitTimecode();
    FitState();
}

void DeckWindow::keyPressEvent(QKeyEvent* event)
{
    switch (event->key()) {
    case Qt::Key_Space:
        mModel.Press(mModel.Read().state == "stop" ? Button::Play : Button::Stop);
        break;
    case Qt::Key_F11:
        FillScreen(!isFullScreen());
        break;
    case Qt::Key_Escape:
        LeaveOrRest();
        break;
    default:
        if (!StepByKey(*event) && !TypeLocate(*event)) {
            QWidget::keyPressEvent(event);
        }
    }
}

bool DeckWindow::StepByKey(const QKeyEvent& event)
{
    const int direction = event.key() == Qt::Key_Left ? -1 : 1;
    switch (event.key()) {
    case Qt::Key_Left:
    case Qt::Key_Right:
        event.modifiers() & Qt::ShiftModifier ? mModel.StepSeconds(direction)
                                              : mModel.Step(direction);
        return true;
    case Qt::Key_Home:
        mModel.GoTo(Edge::Start);
        return true;
    case Qt::Key_End:
        mModel.GoTo(Edge::End);
        return true;
    default:
        return false;
    }
}

/// A digit begins a locate, wherever the keyboard is.
bool DeckWindow::TypeLocate(const QKeyEvent& event)
{
    const QString typed = event.text();
    if (typed.size() != 1 || !typed[0].isDigit() || !mLocateText->isVisible()) {
        return false;
    }
    mLocateText->setFocus();
    mLocateText->setText(typed);
    return true;
}

/// Out of the full screen, else out of whatever has the keyboard and the last notice.
void DeckWindow::LeaveOrRest()
{
    if (isFullScreen()) {
        FillScreen(false);
    } else {
        mModel.Acknowledge();
    }
    ShowLocateProblem({});
    mLocateText->clear();
    setFocus();
}

void DeckWindow::mouseDoubleClickEvent(QMouseEvent* event)
{
    const QWidget* const clicked = childAt(event->pos());
    if (clicked == mPicture || clicked == mTimecode) {
        FillScreen(!isFullScreen());
    }
}

void DeckWindow::FillScreen(bool isFilled)
{
    const bool hasPicture = mModel.Video() != nullptr;
    mSide->setVisible(!isFilled);
    mTransport->setVisible(!isFilled);
    mDisplay->setVisible(!isFilled || !hasPicture);
    mFullScreen->setChecked(isFilled);
    const int margin
        = isFilled && hasPicture ? 0 : style()->pixelMetric(QStyle::PM_LayoutLeftMargin);
    layout()->setContentsMargins(margin, margin, margin, margin);
    mPicture->setCursor(isFilled ? Qt::BlankCursor : Qt::ArrowCursor);
    setFocus();
    const auto rest = windowState() & ~Qt::WindowFullScreen; // maximized stays maximized
    setWindowState(isFilled ? rest | Qt::WindowFullScreen : rest);
    show();
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
