// A lamp that says in colour and in words whether something happens.

#pragma once

#include <QString>
#include <QWidget>

namespace deck::window {

class Lamp final : public QWidget {
public:
    enum class Colour { Off, Green, Amber, Red };

    /// `name` is what a screen reader says, followed by the words of the state.
    explicit Lamp(const QString& name, QWidget* parent = nullptr);

    void Set(Colour colour, const QString& words);

    QSize sizeHint() const override { return {20, 20}; }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QString mName;
    Colour mColour = Colour::Off;
};

} // namespace deck::window
