#include "TakeOptions.h"

#include <QVersionNumber>

#include <algorithm>
#include <cmath>

namespace tavro {

namespace {

using std::chrono::milliseconds;
using Action = TakeStep::Action;

[[noreturn]] void refuse(const QString& option, const QString& value) {
    throw UsageError(QStringLiteral("%1: %2 makes no sense here").arg(option, value).toStdString());
}

milliseconds time(const QString& option, const QString& value) {
    bool ok = false;
    const double seconds = value.toDouble(&ok);
    if (!ok || !std::isfinite(seconds) || seconds < 0 || seconds > 1e6)
        refuse(option, value);
    return milliseconds(std::llround(seconds * 1000));
}

CaptureTargetMeta numberedTarget(const QString& option, CaptureKind kind, const QString& value) {
    bool ok = false;
    const uint number = value.toUInt(&ok, 0); // X tools print window numbers in hexadecimal
    if (!ok)
        refuse(option, value);
    const QString identifier = QString::number(number);
    return {kind, identifier,
        (kind == CaptureKind::display ? QStringLiteral("Display %1") : QStringLiteral("Window %1"))
            .arg(identifier)};
}

SystemVersion version(const QString& option, const QString& value) {
    const QVersionNumber number = QVersionNumber::fromString(value);
    if (number.isNull())
        refuse(option, value);
    return {number.majorVersion(), number.minorVersion()};
}

struct Pause {
    milliseconds from, to;
};

Pause pause(const QString& option, const QString& value) {
    const QStringList parts = value.split(QLatin1Char('-'));
    if (parts.size() != 2)
        refuse(option, value);
    const Pause pause{time(option, parts[0]), time(option, parts[1])};
    if (pause.from >= pause.to)
        refuse(option, value);
    return pause;
}

// Sorted by time, up to the step that ends the session.
std::vector<TakeStep> inOrder(std::vector<Pause> pauses, std::vector<TakeStep> steps) {
    std::ranges::sort(pauses, {}, &Pause::from);
    for (std::size_t i = 1; i < pauses.size(); ++i)
        if (pauses[i].from <= pauses[i - 1].to)
            throw UsageError("--pause: two pauses overlap");
    for (const Pause& pause : pauses) {
        steps.push_back({pause.from, Action::pause});
        steps.push_back({pause.to, Action::resume});
    }
    std::ranges::stable_sort(steps, {}, &TakeStep::at);
    const auto end = std::ranges::find_if(steps, [](const TakeStep& step) {
        return step.action == Action::finish || step.action == Action::deleteSession;
    });
    steps.erase(end + 1, steps.end());
    return steps;
}

} // namespace

QString takeUsage() {
    return QStringLiteral(
        R"(Performs a take without windows, as a tester would, and prints a line of JSON about it.

    tavro-take --seconds S [options]

    --seconds S             finish S seconds after the recording's start
    --display N | --window N
                            what to record, by its number; else the first display
    --narrate               with microphone and computer sound
    --pause FROM-TO         pause between these seconds; may be repeated
    --restart-at S          throw the take away and record again
    --delete-at S           throw take and session away
    --system-version V      14.2 (default): the program writes the video itself; 15: the recording output does
    --service URL           the backend service, with its token in TAVRO_TAKE_TOKEN; else the local backend
)");
}

TakeOptions TakeOptions::parse(const QStringList& arguments) {
    TakeOptions options;
    std::vector<Pause> pauses;
    std::vector<TakeStep> steps;
    bool finishes = false;
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        const QString& option = arguments[i];
        if (option == u"--narrate") {
            options.narrate = true;
            continue;
        }
        if (++i == arguments.size())
            throw UsageError((option + QStringLiteral(": unknown, or its value is missing")).toStdString());
        const QString& value = arguments[i];
        if (option == u"--seconds") {
            steps.push_back({time(option, value), Action::finish});
            finishes = true;
        } else if (option == u"--pause") {
            pauses.push_back(pause(option, value));
        } else if (option == u"--restart-at") {
            steps.push_back({time(option, value), Action::restart});
        } else if (option == u"--delete-at") {
            steps.push_back({time(option, value), Action::deleteSession});
        } else if (option == u"--display") {
            options.target = numberedTarget(option, CaptureKind::display, value);
        } else if (option == u"--window") {
            options.target = numberedTarget(option, CaptureKind::window, value);
        } else if (option == u"--system-version") {
            options.system = version(option, value);
        } else if (option == u"--service") {
            options.service = QUrl(value, QUrl::StrictMode);
            if (!options.service->isValid() || options.service->host().isEmpty())
                refuse(option, value);
        } else {
            throw UsageError((option + QStringLiteral(": unknown")).toStdString());
        }
    }
    if (!finishes)
        throw UsageError("--seconds is missing");
    options.steps = inOrder(std::move(pauses), std::move(steps));
    return options;
}

} // namespace tavro
