#include "Platform/Wayland/WaylandOutputs.h"

#include "support/TestSupport.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>

namespace tavro {
namespace {

using namespace std::chrono_literals;

/// A socket that clients can connect to, and no compositor behind it.
class Listener {
public:
    explicit Listener(const std::filesystem::path& path) {
        sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
        path.string().copy(address.sun_path, sizeof address.sun_path - 1);
        if (::bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
            ::listen(descriptor, 1) != 0)
            throw std::runtime_error("no socket");
    }
    ~Listener() { ::close(descriptor); }
    void hangUp() const { ::close(::accept(descriptor, nullptr, nullptr)); }

private:
    const int descriptor = ::socket(AF_UNIX, SOCK_STREAM, 0);
};

struct WithoutCompositor : testing::Test {
    test::TemporaryFolder folder;
    std::filesystem::path socket = folder.path() / "wayland";
    test::ScopedEnvironment name{"WAYLAND_DISPLAY", QByteArray::fromStdString(socket.string())};
};

TEST_F(WithoutCompositor, failsWhenThereIsNone) {
    const auto error = test::errorOf([] { listOutputs(); });
    EXPECT_EQ(error.domain, u"Tavro.Wayland");
    EXPECT_EQ(error.code, 1);
}

TEST_F(WithoutCompositor, givesUpOneThatHangs) {
    const Listener hung(socket);
    EXPECT_EQ(test::errorOf([] { listOutputs(50ms); }).code, 2);
}

TEST_F(WithoutCompositor, failsAtOnceWhenItHangsUp) {
    const Listener ending(socket);
    const std::jthread end([&] { ending.hangUp(); });
    EXPECT_EQ(test::errorOf([] { listOutputs(24h); }).code, 2);
}

} // namespace
} // namespace tavro
