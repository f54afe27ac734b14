#include "deck/window/PictureView.h"

#include "deck/media/VideoPlayer.h"

#include <QCoreApplication>
#include <QEvent>
#include <QFontDatabase>
#include <QPainter>

namespace deck::window {

namespace {

const auto kPictureChanged = static_cast<QEvent::Type>(QEvent::registerEventType());

} // namespace

PictureView::PictureView(QWidget* parent)
    : QWidget(parent)
{
    setMinimumSize(320, 180);
    setAccessibleName(tr("Picture"));
    setAttribute(Qt::WA_OpaquePaintEvent);
}

PictureView::~PictureView()
{
    SetPlayer(nullptr);
}

void PictureView::SetPlayer(VideoPlayer* player)
{
    if (mPlayer) {
        mPlayer->SetPictureChanged({});
    }
    mPlayer = player;
    mImage = {};
    if (mPlayer) {
        // On the player's thread: an event is all that may happen there.
        mPlayer->SetPictureChanged(
            [this] { QCoreApplication::postEvent(this, new QEvent(kPictureChanged)); });
    }
    RenderPicture();
}

void PictureView::SetBurnIn(const QString& text)
{
    if (text != mBurnIn) {
        mBurnIn = text;
        update();
    }
}

bool PictureView::event(QEvent* event)
{
    if (event->type() == kPictureChanged) {
        RenderPicture();
        return true;
    }
    return QWidget::event(event);
}

void PictureView::resizeEvent(QResizeEvent*)
{
    RenderPicture();
}

void PictureView::RenderPicture()
{
    const QSize size = (QSizeF(this->size()) * devicePixelRatioF()).toSize();
    if (mPlayer && !size.isEmpty()) {
        if (mImage.size() != size) {
            mImage = QImage(size, QImage::Format_RGB32);
            mImage.fill(Qt::black);
        }
        mImage.setDevicePixelRatio(devicePixelRatioF());
        mPlayer->Render(mImage.bits(), size.width(), size.height(),
            static_cast<std::size_t>(mImage.bytesPerLine()));
    }
    update();
}

void PictureView::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    if (mImage.isNull()) {
        painter.fillRect(rect(), Qt::black);
    } else {
        painter.drawImage(0, 0, mImage);
    }
    if (!mBurnIn.isEmpty()) {
        DrawBurnIn(painter);
    }
}

void PictureView::DrawBurnIn(QPainter& painter) const
{
    QFont font = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    font.setPixelSize(qMax(14, height() / 14));
    font.setBold(true);
    painter.setFont(font);
    const QRect text = painter.fontMetrics().boundingRect(mBurnIn);
    QRect box(0, 0, text.width() + font.pixelSize(), text.height() + font.pixelSize() / 3);
    box.moveCenter({width() / 2, height() - box.height()});
    painter.fillRect(box, QColor(0, 0, 0, 170));
    painter.setPen(Qt::white);
    painter.drawText(box, Qt::AlignCenter, mBurnIn);
}

} // namespace deck::window
