#pragma once

#include "Backend/BackendClient.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>

namespace tavro::test {

/// A backend for the contract's cases, with access to its results.
class BackendUnderTest {
public:
    virtual ~BackendUnderTest() = default;
    virtual BackendClient& client() = 0;
    virtual std::vector<LiveEvent> events(const QString& sessionId) = 0;
    /// The session's uploaded video; empty without one.
    virtual QByteArray video(const QString& sessionId) = 0;
};

struct BackendKind {
    std::string name;
    std::function<std::unique_ptr<BackendUnderTest>()> make;
};

/// The cases in BackendContract.cpp. A backend's test program compiles that file and instantiates the suite:
///     INSTANTIATE_TEST_SUITE_P(Mock, BackendContract, testing::Values(BackendKind{"mock", makeMock}));
/// The backend has a project, and its first project has a scenario.
class BackendContract : public testing::TestWithParam<BackendKind> {
protected:
    std::unique_ptr<BackendUnderTest> backend = GetParam().make();
    BackendClient& client() { return backend->client(); }
    QString newSession();
};

} // namespace tavro::test
