// Shows every window of the program in every state and saves a picture of each from the screen.
//
//     tavro-gallery [--text POINTS] FOLDER [NAME...]
//     tavro-gallery --hold NAME      shows one state for manual use, until killed
//
// --text: the font size of the desktop.
#include "UI/Theme.h"
#include "gallery/Scenes.h"

#include <QEventLoop>
#include <QGuiApplication>
#include <QPainter>
#include <QRasterWindow>
#include <QScreen>
#include <QTimer>

#include <chrono>
#include <cstdio>

using namespace tavro;

namespace {

class Backdrop final : public QRasterWindow {
public:
    Backdrop() {
        setFlags(Qt::FramelessWindowHint | Qt::WindowStaysOnBottomHint | Qt::WindowDoesNotAcceptFocus);
        setGeometry(QGuiApplication::primaryScreen()->geometry());
        show();
    }

private:
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        QLinearGradient light(0, 0, 0, height());
        light.setColorAt(0, QColor(0x8f, 0xa3, 0xad));
        light.setColorAt(1, QColor(0x5d, 0x72, 0x7d));
        painter.fillRect(QRect(QPoint(), size()), light);
    }
};

void wait(std::chrono::milliseconds time) {
    QEventLoop loop;
    QTimer::singleShot(time, &loop, &QEventLoop::quit);
    loop.exec();
}

/// A picture of the windows from the screen, with a margin.
QImage picture(const std::vector<ViewWindow*>& windows) {
    constexpr int margin = 20;
    QRect area;
    for (const ViewWindow* window : windows)
        area |= window->frameGeometry();
    area = area.adjusted(-margin, -margin, margin, margin).intersected(windows.front()->screen()->geometry());
    QScreen* screen = windows.front()->screen();
    return screen->grabWindow(0, area.x(), area.y(), area.width(), area.height())
        .toImage()
        .convertToFormat(QImage::Format_RGB888);
}

} // namespace

int main(int argc, char** argv) {
    QGuiApplication app(argc, argv);
    QGuiApplication::setQuitOnLastWindowClosed(false);
    QStringList arguments = QCoreApplication::arguments().mid(1);
    if (arguments.value(0) == QLatin1String("--text") && arguments.size() > 2) {
        QFont font = QGuiApplication::font();
        font.setPointSizeF(arguments[1].toDouble());
        QGuiApplication::setFont(font);
        arguments = arguments.mid(2);
    }
    const bool hold = arguments.value(0) == QLatin1String("--hold");
    if (arguments.isEmpty() || (hold && arguments.size() < 2)) {
        std::fprintf(stderr, "usage: tavro-gallery [--text POINTS] FOLDER [NAME...]\n");
        return 2;
    }
    Theme::registerFonts();
    const Backdrop backdrop;

    for (const gallery::Entry& entry : gallery::entries()) {
        if (arguments.size() > 1 && !arguments.mid(1).contains(entry.name))
            continue;
        const auto scene = entry.open();
        while (!scene->isReady())
            wait(std::chrono::milliseconds(20));
        scene->arrange();
        if (hold)
            return QGuiApplication::exec();
        wait(std::chrono::milliseconds(500)); // time for the window frame and the drawing
        const QString scale = app.devicePixelRatio() > 1 ? QStringLiteral("@2x") : QString();
        const QString file = arguments[0] + QLatin1Char('/') + entry.name + scale + QStringLiteral(".png");
        if (!picture(scene->windows()).save(file)) {
            std::fprintf(stderr, "cannot write %s\n", qPrintable(file));
            return 1;
        }
        std::printf("%s\n", qPrintable(file));
    }
    return 0;
}
