#include "Permissions/PermissionStatus.h"
#include "Platform/Fake/FakePrivacyServices.h"
#include "Platform/Workspace.h"
#include "support/TestSupport.h"

using namespace tavro;
using namespace tavro::test;

namespace {

struct PermissionsTest : testing::Test, Workspace {
    FakePrivacyServices services;
    QStringList steps;
    bool startsInstances = true;
    Permissions permissions{services, *this,
        {.makeWay = [this] { steps << QStringLiteral("makeWay"); },
            .terminate = [this] { steps << QStringLiteral("quit"); }}};

    bool open(const QUrl&) override { return false; }
    bool openNewApplicationInstance() override {
        steps << QStringLiteral("start");
        return startsInstances;
    }
};

} // namespace

TEST_F(PermissionsTest, readsEachGrantByItself) {
    using Status = AuthorizationStatus;
    const struct {
        bool screen;
        Status microphone, speech;
        PermissionSet expected;
    } cases[] = {
        {false, Status::notDetermined, Status::notDetermined,
            {Grant::denied, Grant::unknown, Grant::unknown}},
        {true, Status::restricted, Status::restricted, {Grant::granted, Grant::denied, Grant::denied}},
        {false, Status::authorized, Status::denied, {Grant::denied, Grant::granted, Grant::denied}},
        {true, Status::authorized, Status::authorized, {Grant::granted, Grant::granted, Grant::granted}},
    };
    for (const auto& one : cases) {
        services.screen = one.screen;
        services.microphone = one.microphone;
        services.speech = one.speech;
        EXPECT_EQ(permissions.current(), one.expected);
        EXPECT_EQ(permissions.current().allGranted(), one.screen && one.speech == Status::authorized);
    }
}

TEST_F(PermissionsTest, requestsWaitForTheAnswerWhereverItComesFrom) {
    for (const bool answer : {true, false}) {
        auto request = permissions.requestMicrophone();
        std::thread([&] { services.microphoneRequests.back()(answer); }).join();
        EXPECT_EQ(await(std::move(request)), answer ? Grant::granted : Grant::denied);
    }
    for (const auto status : {AuthorizationStatus::authorized, AuthorizationStatus::notDetermined}) {
        auto request = permissions.requestSpeech();
        services.speechRequests.back()(status);
        EXPECT_EQ(await(std::move(request)),
            status == AuthorizationStatus::authorized ? Grant::granted : Grant::denied); // never unknown
    }
}

TEST_F(PermissionsTest, screenSettingsRegisterTheRequest) {
    permissions.openScreenRecordingSettings();
    EXPECT_EQ(services.screenRequests, 1);
}

TEST_F(PermissionsTest, relaunchStartsTheNewInstanceFirstAndQuitsEvenWhenItDidNotStart) {
    for (const bool starts : {true, false}) {
        startsInstances = starts;
        steps.clear();
        permissions.relaunch();
        EXPECT_EQ(steps, (QStringList{QStringLiteral("makeWay"), QStringLiteral("start")}));
        EXPECT_TRUE(waitUntil([&] { return steps.last() == u"quit"; }));
    }
}
