// A dialog with one control of each kind, which tells what the toolkit calls.

#pragma once

#include "kelorintal/UI_OptionalOrinDialog.h"
#include "tests/kelcore/TestFolder.h"
#include "tests/kelui/TestScreen.h"
#include "tests/kelui/WindowScript.h"

#include <QtTest/QTest>

#include <boost/intrusive_ptr.hpp>
#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

namespace kelui::tests {

inline constexpr char kSmallLayout[] = R"(<ui version='4.0'><widget class='QDialog' name='D'>
<property name='windowTitle'><string>Test</string></property>
<layout class='QVBoxLayout' name='rows'>
<item><widget class='QComboBox' name='Popup'>
<item><property name='text'><string>one</string></property></item>
<item><property name='text'><string>two</string></property></item></widget></item>
<item><widget class='QCheckBox' name='Check'/></item>
<item><widget class='QPushButton' name='Extra'/></item>
<item><widget class='QDialogButtonBox' name='Buttons'>
<property name='standardButtons'><set>QDialogButtonBox::Cancel|QDialogButtonBox::Ok</set></property>
</widget></item></layout></widget></ui>)";

/// Tells what the toolkit calls.
class SmallDialog : public kelorintal::UI_OptionalOrinDialog {
public:
    using UI_OptionalOrinDialog::UI_OptionalOrinDialog;

    void DialogOpened() override
    {
        calls.push_back("opened");
        if (onOpened) {
            onOpened();
        }
    }
    void DialogClosed() override { calls.push_back("closed"); }
    void DialogActionCallback(const char* name, std::int32_t value) override
    {
        calls.push_back(name + std::string(" ") + std::to_string(value));
        kelorintal::UI_OptionalOrinDialog::DialogActionCallback(name, value);
    }

    std::vector<std::string> calls;
    std::function<void()> onOpened;
    bool* destroyed = nullptr;

protected:
    ~SmallDialog() override
    {
        if (destroyed != nullptr) {
            *destroyed = true;
        }
    }
};

/// Makes such dialogs.
struct SmallDialogTest : testing::Test {
    boost::intrusive_ptr<SmallDialog> Make(
        void* parent = nullptr, const char* layout = kSmallLayout)
    {
        folder.Write("Layout.ui", layout);
        return new SmallDialog(nullptr, &resources, "Layout", "Layout", parent);
    }

    OffscreenScreen screen;
    kelcore::tests::TestFolder folder;
    FolderResources resources{folder.Path("")};
};

template <typename T> T& Child(QDialog& window, const char* name)
{
    auto* child = window.findChild<T*>(name);
    if (child == nullptr) {
        throw std::logic_error(name);
    }
    return *child;
}

inline void Press(QDialog& window, Qt::Key key)
{
    QTest::keyClick(&window, key);
}

} // namespace kelui::tests
