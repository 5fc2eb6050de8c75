// Shows every window of the program in every state and saves a picture of each.
//
//     tavro-gallery [--text POINTS] [--dark] FOLDER [NAME...]
//     tavro-gallery --hold NAME      shows one state for manual use, until killed
//
// --text: the font size of the desktop; --dark: a dark desktop. Ordinary windows are taken from the screen,
// with their frames. The bar is shown as a composed desktop shows it, whether this one has a compositor or
// not.
#include "UI/Theme.h"
#include "gallery/Scenes.h"

#include <QCommandLineParser>
#include <QEventLoop>
#include <QGuiApplication>
#include <QPainter>
#include <QPalette>
#include <QRasterWindow>
#include <QScreen>
#include <QTimer>

#include <chrono>
#include <cstdio>

using namespace tavro;

namespace {

class Backdrop final : public QRasterWindow {
public:
    explicit Backdrop(bool isDark) : dark(isDark) {
        setFlags(Qt::FramelessWindowHint | Qt::WindowStaysOnBottomHint | Qt::WindowDoesNotAcceptFocus);
        setGeometry(QGuiApplication::primaryScreen()->geometry());
        show();
    }

    void paint(QPainter& painter) const {
        QLinearGradient light(0, 0, 0, height());
        light.setColorAt(0, dark ? QColor(0x24, 0x2a, 0x30) : QColor(0xe6, 0xed, 0xf0));
        light.setColorAt(1, dark ? QColor(0x10, 0x13, 0x16) : QColor(0xb4, 0xc4, 0xcc));
        painter.fillRect(QRect(QPoint(), size()), light);
    }

private:
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        paint(painter);
    }

    const bool dark;
};

// What programs get from a desktop with dark colours.
QPalette darkPalette() {
    QPalette palette(QColor(0x30, 0x34, 0x38), QColor(0x20, 0x22, 0x24));
    palette.setColor(QPalette::Base, QColor(0x18, 0x1a, 0x1c));
    palette.setColor(QPalette::Highlight, QColor(0x3d, 0x6d, 0xa8));
    return palette;
}

void wait(std::chrono::milliseconds time) {
    QEventLoop loop;
    QTimer::singleShot(time, &loop, &QEventLoop::quit);
    loop.exec();
}

/// A picture of the windows on the screen, with a margin.
QImage picture(const std::vector<ViewWindow*>& windows, const Backdrop& backdrop) {
    constexpr int margin = 20;
    QScreen* screen = windows.front()->screen();
    QRect area;
    for (const ViewWindow* window : windows)
        area |= window->frameGeometry();
    area = area.adjusted(-margin, -margin, margin, margin).intersected(screen->geometry());
    if (windows.front()->color().alpha() > 0)
        return screen->grabWindow(0, area.x(), area.y(), area.width(), area.height())
            .toImage()
            .convertToFormat(QImage::Format_RGB888);
    const double scale = screen->devicePixelRatio();
    QImage composed(area.size() * scale, QImage::Format_RGB888);
    composed.setDevicePixelRatio(scale);
    QPainter painter(&composed);
    painter.translate(-area.topLeft());
    backdrop.paint(painter);
    for (ViewWindow* window : windows) {
        QImage shown = window->grabWindow();
        shown.setDevicePixelRatio(scale);
        painter.drawImage(window->position(), shown);
    }
    return composed;
}

} // namespace

int main(int argc, char** argv) {
    QGuiApplication app(argc, argv);
    QGuiApplication::setQuitOnLastWindowClosed(false);
    QCommandLineParser options;
    options.addOptions({{QStringLiteral("text"), QString(), QStringLiteral("points")},
        {QStringLiteral("dark"), QString()}, {QStringLiteral("hold"), QString()}});
    options.process(app);
    const bool hold = options.isSet(QStringLiteral("hold"));
    QStringList names = options.positionalArguments();
    const QString folder = hold || names.isEmpty() ? QString() : names.takeFirst();
    if (hold ? names.size() != 1 : folder.isEmpty()) {
        std::fprintf(stderr, "usage: tavro-gallery [--text POINTS] [--dark] FOLDER [NAME...]\n");
        return 2;
    }
    if (options.isSet(QStringLiteral("text"))) {
        QFont font = QGuiApplication::font();
        font.setPointSizeF(options.value(QStringLiteral("text")).toDouble());
        QGuiApplication::setFont(font);
    }
    const bool dark = options.isSet(QStringLiteral("dark"));
    if (dark)
        QGuiApplication::setPalette(darkPalette());
    Theme::registerFonts();
    const Backdrop backdrop(dark);

    for (const gallery::Entry& entry : gallery::entries()) {
        if (!names.isEmpty() && !names.contains(entry.name))
            continue;
        const auto scene = entry.open();
        while (!scene->isReady())
            wait(std::chrono::milliseconds(20));
        scene->arrange();
        if (hold)
            return QGuiApplication::exec();
        wait(std::chrono::milliseconds(500)); // time for the window frame and the drawing
        const double ratio = app.devicePixelRatio();
        const QString scale = ratio != 1 ? QStringLiteral("@%1x").arg(ratio) : QString();
        const QString file = folder + QLatin1Char('/') + entry.name + scale + QStringLiteral(".png");
        if (!picture(scene->windows(), backdrop).save(file)) {
            std::fprintf(stderr, "cannot write %s\n", qPrintable(file));
            return 1;
        }
        std::printf("%s\n", qPrintable(file));
    }
    return 0;
}
