// A button that stays down and is seen to be down from across the room.

#pragma once

#include <QPushButton>

namespace deck::window {

class Switch final : public QPushButton {
public:
    Switch(const QString& text, const QString& hint)
        : QPushButton(text)
    {
        setCheckable(true);
        setToolTip(hint);
        setFocusPolicy(Qt::TabFocus); // a click leaves the keyboard to the transport
        connect(this, &QPushButton::toggled, this, [this](bool isOn) {
            QPalette colours;
            if (isOn) {
                colours.setColor(QPalette::Button, colours.color(QPalette::Highlight));
            }
            setPalette(colours);
        });
    }
};

} // namespace deck::window
