#include "Backend/HTTPBackend.h"

#include "Backend/HttpTransport.h"
#include "Backend/LiveChannel.h"
#include "Backend/ModelsJson.h"

#include <condition_variable>
#include <mutex>

namespace tavro {

namespace {

struct CreateSessionResp {
    QString sessionId;
    QString wsUrl;
};
constexpr auto jsonForm(const CreateSessionResp*) {
    return json::record("CreateSessionResp", json::field("sessionId", &CreateSessionResp::sessionId),
        json::field("wsUrl", &CreateSessionResp::wsUrl));
}

struct Presign {
    QString url;
    QString key;
};
constexpr auto jsonForm(const Presign*) {
    return json::record("Presign", json::field("url", &Presign::url), json::field("key", &Presign::key));
}

QUrl validURL(const QString& text) {
    QUrl url(text, QUrl::StrictMode);
    if (!url.isValid())
        throw BackendError(BackendError::Case::notFound, {Cause::answerNotUnderstood});
    return url;
}

/// Is told on the thread that asked how far uploads have come.
struct ProgressListener {
    BackendClient::UploadProgress report;
    std::shared_ptr<EventLoop> loop = EventLoop::current();
};

} // namespace

/// Made on the caller's thread; everything else happens on the queue's, but for what the mutex guards.
class HTTPBackend::Service {
public:
    Service(QUrl url, const QString& apiToken, std::chrono::milliseconds idleTime)
        : baseURL(std::move(url))
        , bearer("Bearer " + apiToken.toUtf8())
        , timeout(idleTime) {}

    void start() { http.emplace(timeout); }
    void cancel();
    void waitUntilIdle();
    void stop();

    QString address() const { return baseURL.toString(QUrl::RemoveUserInfo); }
    QUrl url(const QString& path) const;
    QCoro::Task<QByteArray> request(QByteArray method, QString path, QJsonObject json = {}); // empty: no body
    QCoro::Task<> upload(QUrl url, std::filesystem::path file);

    void openChannel(const QUrl& url);
    QCoro::Task<> sendEvent(LiveEvent event);
    void closeChannel();
    void setListener(std::shared_ptr<ProgressListener> listener);

    /// Counts an operation for as long as it runs.
    class Running {
    public:
        explicit Running(Service& s) : service(s) {
            const std::lock_guard lock(service.mutex);
            ++service.running;
        }
        ~Running() {
            const std::lock_guard lock(service.mutex);
            --service.running;
            service.ended.notify_all();
        }
        Running(const Running&) = delete;
        Running& operator=(const Running&) = delete;

    private:
        Service& service;
    };

private:
    void retire(std::shared_ptr<LiveChannel> channel);

    const QUrl baseURL;
    const QByteArray bearer;
    const std::chrono::milliseconds timeout;
    std::optional<HttpTransport> http;
    std::shared_ptr<LiveChannel> ws;
    std::vector<std::shared_ptr<LiveChannel>> retired; // still sending or closing

    std::mutex mutex;
    std::condition_variable ended;
    int running = 0;
    std::shared_ptr<ProgressListener> listener;
};

void HTTPBackend::Service::cancel() {
    http->cancel();
    if (ws)
        ws->cancel();
    for (const auto& channel : retired)
        if (!channel->isIdle())
            channel->cancel();
}

void HTTPBackend::Service::waitUntilIdle() {
    std::unique_lock lock(mutex);
    ended.wait(lock, [this] { return running == 0; });
}

void HTTPBackend::Service::stop() {
    retired.clear();
    ws.reset();
    http.reset();
}

QUrl HTTPBackend::Service::url(const QString& path) const {
    QUrl url = baseURL;
    url.setPath(path, QUrl::DecodedMode);
    if (!baseURL.isValid() || !url.isValid())
        throw BackendError(BackendError::Case::notFound, {Cause::serviceUnreachable});
    return url;
}

QCoro::Task<QByteArray> HTTPBackend::Service::request(QByteArray method, QString path, QJsonObject json) {
    const QByteArray body = json.isEmpty() ? QByteArray() : json::write(json);
    auto answer = http->send({method, url(path), bearer, body});
    co_return co_await answer;
}

QCoro::Task<> HTTPBackend::Service::upload(QUrl url, std::filesystem::path file) {
    auto stored = http->upload(url, file, [this](qint64 sent, qint64 total) {
        const std::lock_guard lock(mutex);
        if (!listener)
            return;
        listener->loop->post([current = std::weak_ptr(listener), sent, total] {
            if (const auto told = current.lock())
                told->report(sent, total);
        });
    });
    co_await stored;
}

void HTTPBackend::Service::openChannel(const QUrl& url) {
    QNetworkRequest handshake(url);
    handshake.setRawHeader("Authorization", bearer);
    retire(std::move(ws)); // dropped, not closed
    ws = std::make_shared<LiveChannel>(handshake, timeout);
}

QCoro::Task<> HTTPBackend::Service::sendEvent(LiveEvent event) {
    if (!ws)
        co_return;
    auto sent = LiveChannel::send(ws, QString::fromUtf8(encodeJson(event)));
    co_await sent;
}

void HTTPBackend::Service::closeChannel() {
    if (!ws)
        return;
    ws->close();
    retire(std::move(ws));
}

void HTTPBackend::Service::retire(std::shared_ptr<LiveChannel> channel) {
    if (channel)
        retired.push_back(std::move(channel));
    std::erase_if(retired, [](const auto& old) { return old->isIdle(); });
}

void HTTPBackend::Service::setListener(std::shared_ptr<ProgressListener> next) {
    const std::lock_guard lock(mutex);
    listener.swap(next);
}

HTTPBackend::HTTPBackend(QUrl baseURL, const QString& token, std::chrono::milliseconds timeout)
    : service(std::make_unique<Service>(std::move(baseURL), token, timeout))
    , queue(QStringLiteral("tavro.backend")) {
    queue.sync([this] { service->start(); });
}

HTTPBackend::~HTTPBackend() {
    queue.sync([this] { service->cancel(); });
    service->waitUntilIdle();
    queue.sync([this] { service->stop(); });
}

template <class Operation>
auto HTTPBackend::onQueue(Operation operation) {
    using Task = std::invoke_result_t<Operation>;
    return queue.run([service = service.get(), operation = std::move(operation)]() -> Task {
        const Service::Running running(*service);
        auto task = operation();
        co_return co_await task;
    });
}

QString HTTPBackend::address() const {
    return service->address();
}

QCoro::Task<std::optional<User>> HTTPBackend::currentUser() {
    return onQueue([s = service.get()]() -> QCoro::Task<std::optional<User>> {
        auto answer = s->request("GET", u"/api/app/me"_qs);
        co_return decodeJson<User>(co_await answer);
    });
}

QCoro::Task<std::vector<Project>> HTTPBackend::listProjects() {
    return onQueue([s = service.get()]() -> QCoro::Task<std::vector<Project>> {
        auto answer = s->request("GET", u"/api/app/projects"_qs);
        co_return decodeJson<std::vector<Project>>(co_await answer);
    });
}

QCoro::Task<std::vector<Scenario>> HTTPBackend::listScenarios(QString projectId) {
    return onQueue([s = service.get(), projectId]() -> QCoro::Task<std::vector<Scenario>> {
        auto answer = s->request("GET", u"/api/app/projects/%1/scenarios"_qs.arg(projectId));
        co_return decodeJson<std::vector<Scenario>>(co_await answer);
    });
}

QCoro::Task<Scenario> HTTPBackend::createScenario(QString projectId, QString name, QString description) {
    return onQueue([s = service.get(), projectId, name, description]() -> QCoro::Task<Scenario> {
        auto answer = s->request("POST", u"/api/app/projects/%1/scenarios"_qs.arg(projectId),
            {{u"name"_qs, name}, {u"description"_qs, description}});
        co_return decodeJson<Scenario>(co_await answer);
    });
}

QCoro::Task<SessionHandle> HTTPBackend::createSession(
    QString scenarioId, std::optional<QString> appUrl, CaptureTargetMeta captureTarget) {
    const QJsonObject asked{{u"scenarioId"_qs, scenarioId},
        {u"appUrl"_qs, appUrl ? QJsonValue(*appUrl) : QJsonValue::Null},
        {u"captureKind"_qs, rawString(captureTarget.kind)}, {u"captureLabel"_qs, captureTarget.label}};
    auto created = onQueue([s = service.get(), asked]() -> QCoro::Task<QString> {
        auto answer = s->request("POST", u"/api/app/sessions"_qs, asked);
        const auto session = decodeJson<CreateSessionResp>(co_await answer);
        s->openChannel(validURL(session.wsUrl));
        co_return session.sessionId;
    });
    const QString id = co_await created;
    co_return SessionHandle{
        Session{id, scenarioId, SessionStatus::active, appUrl, captureTarget, 0, std::nullopt}};
}

QCoro::Task<> HTTPBackend::sendEvent(QString, LiveEvent event) {
    return onQueue([s = service.get(), event]() -> QCoro::Task<> {
        auto written = s->sendEvent(event);
        co_await written;
    });
}

QCoro::Task<QString> HTTPBackend::uploadVideo(QString sessionId, std::filesystem::path file) {
    return onQueue([s = service.get(), sessionId, file]() -> QCoro::Task<QString> {
        const QString session = u"/api/app/sessions/"_qs + sessionId;
        auto answer = s->request("POST", session + u"/upload-url"_qs, {{u"contentType"_qs, u"video/mp4"_qs}});
        const auto presign = decodeJson<Presign>(co_await answer);
        auto stored = s->upload(validURL(presign.url), file);
        co_await stored;
        auto noted = s->request("POST", session + u"/video-uploaded"_qs, {{u"key"_qs, presign.key}});
        co_await noted;
        co_return presign.key;
    });
}

QCoro::Task<> HTTPBackend::finishSession(QString, double durationSeconds) {
    return onQueue([s = service.get(), durationSeconds]() -> QCoro::Task<> {
        auto sent = s->sendEvent(event::Finished{durationSeconds});
        co_await sent;
        s->closeChannel();
    });
}

QCoro::Task<> HTTPBackend::deleteSession(QString sessionId) {
    return onQueue([s = service.get(), sessionId]() -> QCoro::Task<> {
        try {
            auto sent = s->sendEvent(event::Deleted());
            co_await sent;
        } catch (const std::exception&) { // the session goes away with or without its last event
        }
        s->closeChannel();
        auto answer = s->request("DELETE", u"/api/app/sessions/"_qs + sessionId);
        co_await answer;
    });
}

void HTTPBackend::setUploadProgress(UploadProgress progress) {
    std::shared_ptr<ProgressListener> next;
    if (progress) {
        next = std::make_shared<ProgressListener>();
        next->report = std::move(progress);
    }
    service->setListener(std::move(next));
}

} // namespace tavro
