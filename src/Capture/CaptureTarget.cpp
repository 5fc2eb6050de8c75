#include "Capture/CaptureTarget.h"

#include "Core/Log.h"

#include <QStringList>

#include <algorithm>

namespace tavro::CaptureCatalog {
namespace {

std::optional<ContentFilter> windowFilter(const ShareableContent& content, const QString& identifier) {
    for (const ShareableWindow& window : content.windows)
        if (QString::number(window.windowID) == identifier)
            return ContentFilter{ContentFilter::Kind::window, window.windowID};
    Log::error(QStringLiteral("filter: no window matches id=") + identifier);
    return std::nullopt;
}

std::optional<ContentFilter> displayFilter(
    const ShareableContent& content, const QStringList& ids, const QString& identifier) {
    const auto at = ids.indexOf(identifier);
    if (at >= 0)
        return ContentFilter{
            ContentFilter::Kind::display, content.displays[static_cast<std::size_t>(at)].displayID};
    Log::error(QStringLiteral("filter: no display matches id=") + identifier +
               QStringLiteral(". Available display IDs: ") + bracketed(ids) +
               QStringLiteral(
                   ". (A synthetic 'Primary display' id=1 from setup won't match a real display — relaunch "
                   "after granting Screen Recording.)"));
    return std::nullopt;
}

} // namespace

QString bracketed(const QStringList& ids) {
    return ids.isEmpty() ? QStringLiteral("[]")
                         : QStringLiteral("[\"%1\"]").arg(ids.join(QStringLiteral("\", \"")));
}

QCoro::Task<std::vector<CaptureOption>> displays(ScreenCaptureService& screen) {
    auto query = screen.shareableContent();
    const ShareableContent content = co_await query;
    std::vector<CaptureOption> options;
    for (const ShareableDisplay& display : content.displays) {
        const QString number = QString::number(display.displayID);
        const QString numbered = QStringLiteral("Display %1 (%2×%3)")
                                     .arg(options.size() + 1)
                                     .arg(display.width)
                                     .arg(display.height);
        const QString label = display.label.isEmpty() ? numbered : display.label;
        options.push_back({QStringLiteral("display-") + number, CaptureKind::display, label,
            {CaptureKind::display, number, label}, display.hint});
    }
    co_return options;
}

QCoro::Task<std::optional<ContentFilter>> filter(ScreenCaptureService& screen, CaptureTargetMeta target) {
    auto query = screen.shareableContent();
    const ShareableContent content = co_await query;
    QStringList ids;
    for (const ShareableDisplay& display : content.displays)
        ids << QString::number(display.displayID);
    const bool isWindow = target.kind == CaptureKind::window;
    Log::info(QStringLiteral("filter: requested kind=") +
              (isWindow ? QStringLiteral("window") : QStringLiteral("display")) + QStringLiteral(" id=") +
              target.identifier + QStringLiteral("; available displays=") + bracketed(ids) +
              QStringLiteral(" windows=") + QString::number(content.windows.size()));
    co_return isWindow ? windowFilter(content, target.identifier)
                       : displayFilter(content, ids, target.identifier);
}

} // namespace tavro::CaptureCatalog
