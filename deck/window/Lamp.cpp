#include "deck/window/Lamp.h"

#include <QPainter>

namespace deck::window {

namespace {

QColor ColourOf(Lamp::Colour colour)
{
    switch (colour) {
    case Lamp::Colour::Green:
        return {0x3f, 0xd0, 0x6a};
    case Lamp::Colour::Amber:
        return {0xff, 0xb0, 0x30};
    case Lamp::Colour::Red:
        return {0xff, 0x4d, 0x4d};
    case Lamp::Colour::Off:
        break;
    }
    return {0x3a, 0x3d, 0x42};
}

} // namespace

Lamp::Lamp(const QString& name, QWidget* parent)
    : QWidget(parent)
    , mName(name)
{
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    Set(Colour::Off, tr("nothing yet"));
}

void Lamp::Set(Colour colour, const QString& words)
{
    const QString text = mName + ": " + words;
    if (colour != mColour || text != accessibleName()) {
        mColour = colour;
        setAccessibleName(text);
        setToolTip(text);
        update();
    }
}

void Lamp::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(QColor(0, 0, 0, 120), 1));
    painter.setBrush(ColourOf(mColour));
    painter.drawEllipse(QRectF(rect()).adjusted(1.5, 1.5, -1.5, -1.5));
}

} // namespace deck::window
