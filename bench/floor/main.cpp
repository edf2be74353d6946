// bench_floor [interval ms] [background.bmp]: the least work the title state must do each
// tick, and nothing else: copy a 600 x 400 RGB32 background into a back buffer and show that
// buffer in a window, on a precise timer of the game's interval (50 ms by default). Its CPU
// use is the floor the game's is measured against; it links Qt Widgets only.

#include <QApplication>
#include <QImage>
#include <QPaintEvent>
#include <QPainter>
#include <QTimer>
#include <QWidget>
#include <cstdlib>
#include <cstring>

namespace {

class Field : public QWidget {
  public:
    explicit Field(const QImage& background)
        : background_(background.convertToFormat(QImage::Format_RGB32)),
          buffer_(background_.size(), QImage::Format_RGB32) {
        setFixedSize(background_.size());
        // Every pixel is painted from the buffer: nothing underneath needs drawing first.
        setAttribute(Qt::WA_OpaquePaintEvent);
    }

    void tick() {
        std::memcpy(buffer_.bits(), background_.constBits(),
                    static_cast<std::size_t>(buffer_.sizeInBytes()));
        update();
    }

  protected:
    void paintEvent(QPaintEvent* event) override {
        QPainter p(this);
        p.drawImage(event->rect(), buffer_, event->rect());
    }

  private:
    QImage background_;
    QImage buffer_;
};

QImage fallbackBackground() {
    QImage image(600, 400, QImage::Format_RGB32);
    for (int y = 0; y < image.height(); ++y) {
        auto* row = reinterpret_cast<QRgb*>(image.scanLine(y));
        for (int x = 0; x < image.width(); ++x)
            row[x] = qRgb(x * 255 / 600, y * 255 / 400, 128);
    }
    return image;
}

} // namespace

int main(int argc, char* argv[]) {
    QApplication app(argc, argv);
    const int interval = argc > 1 ? std::max(1, std::atoi(argv[1])) : 50;
    QImage background;
    if (argc > 2) background.load(QString::fromLocal8Bit(argv[2]));
    if (background.isNull()) background = fallbackBackground();

    Field field(background);
    field.setWindowTitle(QStringLiteral("Floor %1 ms").arg(interval));
    field.show();

    QTimer timer;
    timer.setTimerType(Qt::PreciseTimer);
    timer.setInterval(interval);
    QObject::connect(&timer, &QTimer::timeout, &field, &Field::tick);
    timer.start();
    return QApplication::exec();
}
