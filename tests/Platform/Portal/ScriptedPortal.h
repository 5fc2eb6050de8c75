#pragma once

#include <QDBusConnection>
#include <QDBusVirtualObject>
#include <QPoint>
#include <QSize>
#include <QString>
#include <QVariantMap>

#include <map>
#include <optional>
#include <vector>

namespace tavro::test {

/// A desktop portal on the test's session bus that answers as its script says. Main thread.
class ScriptedPortal final : public QDBusVirtualObject {
public:
    struct Stream {
        unsigned node = 0;
        std::optional<QSize> size;
        std::optional<QPoint> position;
        QString id;
        unsigned type = 1;
    };
    /// What Start answers; the last one for all later sessions.
    struct Choice {
        std::vector<Stream> streams;
        QString token;
    };
    struct Script {
        unsigned version = 4;
        unsigned cursorModes = 2;
        std::map<QString, unsigned> refusals; ///< of these methods, with the code of their response
        bool closesOnRefusal = false;         ///< the session, before it answers
        std::vector<QString> silent;          ///< methods without a response
        std::vector<Choice> choices;
        QString remote; ///< PipeWire's socket
    };
    struct Call {
        QString method;
        QVariantMap options;
    };

    explicit ScriptedPortal(Script script);
    ~ScriptedPortal() override;

    void leaveBus(); ///< as when the portal's process ends
    void closeSessions();
    int openSessions() const { return static_cast<int>(sessions.size()); }
    QVariantMap optionsOf(const QString& method, int session) const; ///< of the n-th call
    int callsOf(const QString& method) const;

    Script script;

private:
    QString introspect(const QString& path) const override;
    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override;
    void answer(const QDBusMessage& message, const QVariantMap& options, QVariantMap results);
    QVariantMap startResults();

    QDBusConnection bus;
    std::vector<QString> sessions;
    std::vector<Call> calls;
    std::size_t started = 0;
};

} // namespace tavro::test
