#include "TakeBackend.h"

#include "Backend/HTTPBackend.h"
#include "Backend/MockBackend.h"
#include "Core/Paths.h"

#include <QNetworkProxyFactory>

namespace tavro {

namespace {

QCoro::Task<TakeBackend::Traces> localTraces(std::shared_ptr<MockBackend> backend, QString sessionId) {
    auto looking = backend->storedSession(sessionId);
    const auto session = co_await looking;
    if (!session)
        co_return TakeBackend::Traces{};
    const auto folder = backend->sessionFolder(sessionId);
    co_return TakeBackend::Traces{
        Paths::toText(folder / "video.mp4"), Paths::toText(folder / "events.json"), session->durationSeconds};
}

QCoro::Task<TakeBackend::Traces> noTraces(QString) {
    co_return TakeBackend::Traces{};
}

} // namespace

TakeBackend TakeBackend::choose(const TakeOptions& options) {
    if (!options.service) {
        const auto local = std::make_shared<MockBackend>(Paths::applicationSupport() / "Tavro");
        return {local, [local](const QString& sessionId) { return localTraces(local, sessionId); }};
    }
    const QString token = qEnvironmentVariable("TAVRO_TAKE_TOKEN");
    if (token.isEmpty())
        throw UsageError("--service needs its token in TAVRO_TAKE_TOKEN");
    QNetworkProxyFactory::setUseSystemConfiguration(true);
    return {std::make_shared<HTTPBackend>(*options.service, token), &noTraces};
}

} // namespace tavro
