#pragma once

#include "Backend/BackendClient.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>

namespace tavro::test {

/// A backend to run the contract's cases on, and a look at what stands behind it.
class BackendUnderTest {
public:
    virtual ~BackendUnderTest() = default;
    virtual BackendClient& client() = 0;
    /// The events that have arrived for the session, in order.
    virtual std::vector<LiveEvent> events(const QString& sessionId) = 0;
    /// The video that was uploaded for the session; empty when there is none.
    virtual QByteArray video(const QString& sessionId) = 0;
};

struct BackendKind {
    std::string name;
    std::function<std::unique_ptr<BackendUnderTest>()> make;
};

/// The cases in BackendContract.cpp, which every backend passes. To run them on another one, compile
/// BackendContract.cpp into its test program and instantiate the suite there:
///
///     INSTANTIATE_TEST_SUITE_P(Mock, BackendContract, testing::Values(BackendKind{"mock", makeMock}));
///
/// The backend offers at least one project, and the first one has at least one scenario.
class BackendContract : public testing::TestWithParam<BackendKind> {
protected:
    std::unique_ptr<BackendUnderTest> backend = GetParam().make();
    BackendClient& client() { return backend->client(); }
    QString newSession();
};

} // namespace tavro::test
