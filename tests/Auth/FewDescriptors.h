#pragma once

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>
#include <vector>

namespace tavro::test {

/// Leaves this process `left` free descriptors during its lifetime.
class FewDescriptors {
public:
    explicit FewDescriptors(int left) {
        ::getrlimit(RLIMIT_NOFILE, &before);
        rlimit few = before;
        few.rlim_cur = 256;
        ::setrlimit(RLIMIT_NOFILE, &few);
        for (int taken = 0; (taken = ::open("/dev/null", O_RDONLY | O_CLOEXEC)) >= 0;)
            descriptors.push_back(taken);
        for (int i = 0; i < left; ++i) {
            ::close(descriptors.back());
            descriptors.pop_back();
        }
    }
    ~FewDescriptors() {
        for (const int taken : descriptors)
            ::close(taken);
        ::setrlimit(RLIMIT_NOFILE, &before);
    }

private:
    rlimit before{};
    std::vector<int> descriptors;
};

} // namespace tavro::test
