// The picture, with time code burnt in on request.

#pragma once

#include <QImage>
#include <QWidget>

namespace deck {

class VideoPlayer;

namespace window {

class PictureView final : public QWidget {
public:
    explicit PictureView(QWidget* parent = nullptr);
    ~PictureView() override;

    /// `player` outlives the view, or is replaced by null first. [window]
    void SetPlayer(VideoPlayer* player);
    /// Text over the picture; none where empty. [window]
    void SetBurnIn(const QString& text);

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    bool event(QEvent* event) override;

private:
    void RenderPicture();
    void DrawBurnIn(QPainter& painter) const;

    VideoPlayer* mPlayer = nullptr;
    QImage mImage; // in device pixels
    QString mBurnIn;
};

} // namespace window
} // namespace deck
