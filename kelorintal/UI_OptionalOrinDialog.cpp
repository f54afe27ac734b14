#include "kelorintal/UI_OptionalOrinDialog.h"

#include "kelorintal/DialogTrace.h"
#include "kelorintal/GUIThread.h"
#include "kelorintal/LayoutText.h"
#include "kelorintal/LayoutWindow.h"

#include <stdexcept>
#include <string_view>
#include <utility>

namespace kelorintal {

UI_OptionalOrinDialog::UI_OptionalOrinDialog(const kelui::drawbot::SupplierInterface*,
    kelui::utility::ResourceManager* resources,
    const char* layoutName,
    const char* layoutName2,
    void* parentWindow)
    : mParentWindow(parentWindow)
{
    LayoutText layout = ReadLayout(resources, layoutName, layoutName2);
    if (layout.whyNot.empty()) {
        layout.whyNot = MakeControls(layout.text, mViewHolder);
    }
    if (layout.whyNot.empty()) {
        mLayout = std::move(layout.text);
    } else {
        mViewHolder = {};
        TraceDialog("no dialog: " + layout.whyNot);
    }
}

UI_OptionalOrinDialog::~UI_OptionalOrinDialog() = default;

void UI_OptionalOrinDialog::DialogOpened() {}

void UI_OptionalOrinDialog::DialogClosed() {}

void UI_OptionalOrinDialog::DialogActionCallback(const char* name, std::int32_t)
{
    if (name == std::string_view("OK")) {
        EndModal(kResponseOK);
    } else if (name == std::string_view("Cancel")) {
        EndModal(kResponseCancelled);
    }
}

void UI_OptionalOrinDialog::EndModal(std::int32_t response)
{
    const auto lock = mViewHolder.GetGuard()->Take();
    if (mIsModal && !mResponse) {
        mResponse = response;
        mViewHolder.GetGuard()->NoteChange();
    }
}

bool UI_OptionalOrinDialog::IsModal() const
{
    const auto lock = mViewHolder.GetGuard()->Take();
    return mIsModal;
}

std::int32_t UI_OptionalOrinDialog::RunModal()
{
    if (mLayout.empty()) {
        return kResponseNotShown;
    }
    std::string whyNot;
    try {
        whyNot = RunOnGUIThread([this] { RunWindow(); });
    } catch (const std::runtime_error& error) {
        whyNot = error.what();
    }
    if (!whyNot.empty()) {
        TraceDialog("the dialog is not shown: " + whyNot);
        return kResponseNotShown;
    }
    const auto lock = mViewHolder.GetGuard()->Take();
    return mResponse.value_or(kResponseCancelled);
}

void UI_OptionalOrinDialog::RunWindow()
{
    const auto setModal = [this](bool modal) {
        const auto lock = mViewHolder.GetGuard()->Take();
        mIsModal = modal;
        if (modal) {
            mResponse.reset();
        }
    };
    LayoutWindow window(mLayout, mParentWindow, mViewHolder,
        {[this] { DialogOpened(); },
            [this](const char* name, std::int32_t value) { DialogActionCallback(name, value); },
            [this] {
                const auto lock = mViewHolder.GetGuard()->Take();
                return mResponse.has_value();
            }});
    setModal(true);
    window.Run();
    setModal(false);
    DialogClosed();
}

} // namespace kelorintal
