#include "Take.h"

#include "App/TerminationSignals.h"
#include "Core/Errors.h"
#include "Core/StandardStreams.h"

#include <QCoreApplication>
#include <QEvent>
#include <QNetworkProxyFactory>
#include <QTimer>

#include <cstdio>
#include <functional>
#include <sys/stat.h>

namespace tavro {

namespace {

void complain(const QString& text) {
    std::fprintf(stderr, "tavro-take: %s\n", qPrintable(text));
}

/// Handles the termination signals; a second one ends the process at once.
class Interruption final : public QObject {
public:
    explicit Interruption(std::function<void()> handlerGiven) : handler(std::move(handlerGiven)) {
        QCoreApplication::instance()->installEventFilter(this);
    }
    bool eventFilter(QObject*, QEvent* event) override {
        if (event->type() != QEvent::Quit)
            return false;
        QTimer::singleShot(0, this, [this] { signals_.reset(); }); // `signals_` is the sender of this event
        handler();
        return true;
    }

private:
    const std::function<void()> handler;
    std::optional<TerminationSignals> signals_{std::in_place};
};

QCoro::Task<> perform(Take& take) {
    int code = 0;
    try {
        auto running = take.run();
        const TakeReport report = co_await running;
        std::printf("%s\n", toJson(report).constData());
    } catch (...) {
        complain(localizedDescriptionOfCurrentError());
        code = 1;
    }
    QCoreApplication::exit(code);
}

int run(const TakeOptions& options) {
    Take take(options);
    const Interruption interruption([&] { take.interrupt(); });
    QTimer::singleShot(0, qApp, [&] { perform(take); });
    return QCoreApplication::exec();
}

} // namespace

} // namespace tavro

int main(int argc, char** argv) {
    tavro::secureStandardStreams();
    ::umask(S_IRWXG | S_IRWXO); // the recordings are private to the user
    QCoreApplication application(argc, argv);
    QNetworkProxyFactory::setUseSystemConfiguration(true);
    try {
        return tavro::run(tavro::TakeOptions::parse(QCoreApplication::arguments().mid(1)));
    } catch (const tavro::UsageError& error) {
        tavro::complain(QString::fromUtf8(error.what()));
        std::fputs(qPrintable(QLatin1Char('\n') + tavro::takeUsage()), stderr);
        return 2;
    }
}
