#include "Platform/Desktop/DesktopInhibitor.h"
#include "Platform/Desktop/DesktopNotifier.h"
#include "Platform/Desktop/SingleInstance.h"
#include "support/TestSupport.h"

#include <QDBusConnection>

using namespace tavro;
using namespace tavro::test;

// Runs without any bus, like a bare X session.

TEST(WithoutABus, notificationBecomesALogLine) {
    const LogLines log;
    DesktopNotifier notifier;
    notifier.show({.summary = QStringLiteral("Kept"), .body = QStringLiteral("in /somewhere")});
    EXPECT_TRUE(waitUntil([&] {
        const auto lines = log.all();
        return lines.size() == 1 && lines[0].startsWith(u"[INFO] ") &&
               lines[0].endsWith(u"Kept — in /somewhere");
    })) << log.all().join(u'\n').toStdString();
}

TEST(WithoutABus, inhibitionDoesNothing) {
    DesktopInhibitor inhibitor;
    auto inhibition = inhibitor.inhibit(QStringLiteral("Recording"));
    EXPECT_NE(inhibition, nullptr);
    inhibition.reset();
    QCoreApplication::processEvents();
}

TEST(WithoutABus, programRunsAlone) {
    SingleInstance instance({.activate = [] { FAIL(); }, .action = [](const QString&) { FAIL(); }});
    EXPECT_EQ(instance.claim(), SingleInstance::Role::alone);
    instance.release();
}
