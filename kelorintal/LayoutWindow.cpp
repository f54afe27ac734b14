#include "kelorintal/LayoutWindow.h"

#include "kelorintal/Doorbell.h"
#include "kelui/controls/UI_Checkbox.h"
#include "kelui/controls/UI_Popup.h"

#include <QtCore/QBuffer>
#include <QtCore/QPointer>
#include <QtCore/QSignalBlocker>
#include <QtGui/QWindow>
#include <QtUiTools/QUiLoader>
#include <QtWidgets/QAbstractItemView>
#include <QtWidgets/QApplication>
#include <QtWidgets/QCheckBox>
#include <QtWidgets/QComboBox>
#include <QtWidgets/QDialog>
#include <QtWidgets/QDialogButtonBox>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QVBoxLayout>

#include <cstdint>
#include <stdexcept>
#include <utility>
#include <vector>

namespace kelorintal {

namespace {

using kelcore::utility::UTF16String;
using kelui::controls::UI_Checkbox;
using kelui::controls::UI_Popup;

QString ToQString(const UTF16String& text)
{
    return QString::fromUtf16(text.data(), static_cast<qsizetype>(text.size()));
}

QWidget* AsWidget(const void* parentWindow)
{
    for (QWidget* widget : QApplication::allWidgets()) {
        if (widget == parentWindow) {
            return widget->window();
        }
    }
    return nullptr;
}

// A window of another toolkit: on X11 hosts hand over its ID, which has 29 bits at most.
std::unique_ptr<QWindow> AsForeignWindow(const void* parentWindow)
{
    constexpr std::uintptr_t kHighestID = 0x1FFFFFFF;
    const auto id = reinterpret_cast<std::uintptr_t>(parentWindow);
    if (id == 0 || id > kHighestID || QGuiApplication::platformName() != u"xcb") {
        return nullptr;
    }
    return std::unique_ptr<QWindow>(QWindow::fromWinId(static_cast<WId>(id)));
}

// A dialog as it is; anything else inside a dialog of its own.
QDialog* AsDialog(QWidget* root, QWidget* parent)
{
    if (auto* dialog = qobject_cast<QDialog*>(root); dialog != nullptr) {
        return dialog;
    }
    auto* dialog = new QDialog(parent);
    dialog->setWindowTitle(root->windowTitle());
    (new QVBoxLayout(dialog))->addWidget(root);
    return dialog;
}

QDialog* LoadDialog(const std::string& layout, QWidget* parent)
{
    QUiLoader loader;
    loader.clearPluginPaths(); // the widgets of Qt itself, and nobody's plug-ins in our host
    QBuffer buffer;
    buffer.setData(layout.data(), static_cast<int>(layout.size()));
    buffer.open(QIODevice::ReadOnly);
    QWidget* root = loader.load(&buffer, parent);
    if (root == nullptr) {
        throw std::runtime_error(
            "the layout cannot be shown: " + loader.errorString().toStdString());
    }
    return AsDialog(root, parent);
}

/// A popup and the widget that shows it.
struct PopupView {
    boost::intrusive_ptr<UI_Popup> control;
    QComboBox* widget;
    std::uint64_t shown = 0; // version

    void Refresh()
    {
        const UI_Popup::State state = control->GetStateAfter(shown);
        if (state.version == 0) {
            return;
        }
        const QSignalBlocker quiet(widget);
        if (!ShowsLabels(state.labels)) {
            ShowLabels(state.labels);
        }
        widget->setCurrentIndex(state.value);
        shown = state.version;
    }

private:
    bool ShowsLabels(const std::vector<UTF16String>& labels) const
    {
        bool same = widget->count() == static_cast<int>(labels.size());
        for (int i = 0; same && i < widget->count(); ++i) {
            same = widget->itemText(i) == ToQString(labels[static_cast<std::size_t>(i)]);
        }
        return same;
    }

    void ShowLabels(const std::vector<UTF16String>& labels)
    {
        widget->hidePopup(); // else a click that is on its way would pick another item
        widget->clear();
        for (const UTF16String& label : labels) {
            widget->addItem(ToQString(label));
            widget->setItemData(widget->count() - 1, ToQString(label), Qt::ToolTipRole);
        }
    }
};

/// A checkbox and the widget that shows it.
struct CheckboxView {
    boost::intrusive_ptr<UI_Checkbox> control;
    QCheckBox* widget;
    std::uint64_t shown = 0; // version

    void Refresh()
    {
        const UI_Checkbox::State state = control->GetState();
        const QSignalBlocker quiet(widget);
        widget->setChecked(state.value == 1);
        shown = state.version;
    }
};

} // namespace

class LayoutWindow::Implementation {
public:
    Implementation(const std::string& layout,
        void* parentWindow,
        kelui::controls::UI_ViewHolder& holder,
        Listener listener)
        : mHolder(holder)
        , mListener(std::move(listener))
        , mForeignParent(AsForeignWindow(parentWindow))
        , mDialog(LoadDialog(layout, AsWidget(parentWindow)))
    {
        BindControls();
        BindButtons();
        QObject::connect(mDialog, &QDialog::rejected, &mReceiver, [this] { Use("Cancel", 1); });
        Refresh();
    }

    ~Implementation()
    {
        // The host may have destroyed the dialog together with its parent.
        delete mDialog.data();
    }

    void Run()
    {
        JoinForeignParent();
        Listen();
        mDialog->setWindowModality(Qt::ApplicationModal);
        mDialog->show();
        mListener.opened(); // before the user can do anything
        if (mDialog != nullptr) {
            mDialog->exec();
        }
        mHolder.GetGuard()->SetWindow({});
    }

private:
    // From here on a change on any thread rings. It does so with the guard held, and Run ends with
    // SetWindow({}), so the bell outlives every ring.
    void Listen()
    {
        mHolder.GetGuard()->SetWindow([this] { mDoorbell.Ring(); });
        Refresh(); // what changed before the guard knew us
    }

    void Refresh()
    {
        {
            const auto lock = mHolder.GetGuard()->Take();
            mHolder.GetGuard()->BeginLook();
        }
        if (mDialog == nullptr) {
            return;
        }
        for (PopupView& view : mPopups) {
            view.Refresh();
        }
        for (CheckboxView& view : mCheckboxes) {
            view.Refresh();
        }
        if (mListener.isOver()) {
            mDialog->done(QDialog::Accepted);
        }
    }

    void Use(const char* name, std::int32_t value) { mListener.used(name, value); }

    void BindControls()
    {
        for (const auto& control : mHolder.GetControls()) {
            const QString name = ToQString(control->GetID());
            if (auto* popup = dynamic_cast<UI_Popup*>(control.get()); popup != nullptr) {
                if (auto* widget = mDialog->findChild<QComboBox*>(name); widget != nullptr) {
                    mPopups.push_back({popup, widget});
                }
            } else if (auto* box = dynamic_cast<UI_Checkbox*>(control.get()); box != nullptr) {
                if (auto* widget = mDialog->findChild<QCheckBox*>(name); widget != nullptr) {
                    mCheckboxes.push_back({box, widget});
                }
            }
        }
        Connect();
    }

    void Connect()
    {
        for (PopupView& view : mPopups) {
            view.widget->view()->setTextElideMode(Qt::ElideMiddle);
            QObject::connect(view.widget, &QComboBox::currentIndexChanged, &mReceiver,
                [this, &view](int index) { OnPicked(view, index); });
        }
        for (CheckboxView& view : mCheckboxes) {
            QObject::connect(view.widget, &QCheckBox::toggled, &mReceiver,
                [this, &view](bool checked) { OnMarked(view, checked); });
        }
    }

    // Where the pick is refused, the refresh that says why is on its way.
    void OnPicked(PopupView& view, int index)
    {
        if (view.control->TryPick(index, view.shown)) {
            Use(view.widget->objectName().toUtf8().constData(), index);
        }
    }

    void OnMarked(CheckboxView& view, bool checked)
    {
        if (view.control->TryMark(checked ? 1 : 0, view.shown)) {
            Use(view.widget->objectName().toUtf8().constData(), checked ? 1 : 0);
        }
    }

    void BindButtons()
    {
        for (auto* box : mDialog->findChildren<QDialogButtonBox*>()) {
            QObject::connect(
                box, &QDialogButtonBox::accepted, &mReceiver, [this] { Use("OK", 1); });
            QObject::connect(
                box, &QDialogButtonBox::rejected, &mReceiver, [this] { Use("Cancel", 1); });
        }
        for (auto* button : mDialog->findChildren<QPushButton*>()) {
            if (qobject_cast<QDialogButtonBox*>(button->parentWidget()) == nullptr) {
                QObject::connect(button, &QPushButton::clicked, &mReceiver,
                    [this, button] { Use(button->objectName().toUtf8().constData(), 1); });
            }
        }
    }

    void JoinForeignParent()
    {
        if (mForeignParent) {
            mDialog->winId(); // makes the native window
            mDialog->windowHandle()->setTransientParent(mForeignParent.get());
        }
    }

    kelui::controls::UI_ViewHolder& mHolder;
    const Listener mListener;
    Doorbell mDoorbell{[this] { Refresh(); }};
    QObject mReceiver; // of the signals: no slot is called once it has gone
    std::unique_ptr<QWindow> mForeignParent;
    QPointer<QDialog> mDialog;
    std::vector<PopupView> mPopups; // complete, hence at rest, before it is connected
    std::vector<CheckboxView> mCheckboxes;
};

LayoutWindow::LayoutWindow(const std::string& layout,
    void* parentWindow,
    kelui::controls::UI_ViewHolder& holder,
    Listener listener)
    : mImplementation(
        std::make_unique<Implementation>(layout, parentWindow, holder, std::move(listener)))
{
}

LayoutWindow::~LayoutWindow() = default;

void LayoutWindow::Run()
{
    mImplementation->Run();
}

} // namespace kelorintal
