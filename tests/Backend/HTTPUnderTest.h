#pragma once

#include "Backend/BackendContract.h"
#include "Backend/HTTPBackend.h"
#include "Backend/ModelsJson.h"
#include "support/LoopbackService.h"
#include "support/TestSupport.h"

namespace tavro::test {

inline const CaptureTargetMeta display{CaptureKind::display, u"1"_qs, u"Display 1"_qs};
inline const QString token = u"token-1"_qs;

struct HTTPUnderTest final : BackendUnderTest {
    LoopbackService service;
    std::unique_ptr<HTTPBackend> http = std::make_unique<HTTPBackend>(service.baseURL(), token);
    TemporaryFolder folder;

    BackendClient& client() override { return *http; }
    std::vector<LiveEvent> events(const QString& id) override {
        std::vector<LiveEvent> arrived;
        for (const Received& entry : service.received("message "))
            if (entry.target.endsWith(id.toUtf8()))
                arrived.push_back(decodeJson<LiveEvent>(entry.body));
        return arrived;
    }
    QByteArray video(const QString& id) override {
        const auto uploads = service.received("PUT /store/" + id.toUtf8());
        return uploads.empty() ? QByteArray() : uploads.back().body;
    }

    QString newSession() {
        return await(http->createSession(u"scn_guest"_qs, std::nullopt, display)).session.id;
    }
    std::filesystem::path file(const QByteArray& bytes = "video") {
        writeFile(folder.path() / "take.mp4", bytes);
        return folder.path() / "take.mp4";
    }
    /// The live channel's messages up to its close.
    QList<QByteArray> channelUntilClosed() {
        EXPECT_TRUE(waitUntil([&] { return service.received("close").size() == 1; }));
        return service.channelLines();
    }
};

inline void expectError(const ErrorDescription& error, QStringView domain, int code, QStringView text) {
    EXPECT_EQ(error.domain.toStdString(), domain.toString().toStdString());
    EXPECT_EQ(error.code, code);
    EXPECT_EQ(error.localizedDescription.toStdString(), text.toString().toStdString());
}

} // namespace tavro::test
