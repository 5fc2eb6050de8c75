#include "Platform/Media/SmallPages.h"

#include <mutex>
#include <sys/prctl.h>

namespace tavro {

namespace {

std::mutex mutex;
int standing = 0;

} // namespace

SmallPages::SmallPages() {
    const std::lock_guard lock(mutex);
    if (standing++ == 0)
        ::prctl(PR_SET_THP_DISABLE, 1, 0, 0, 0);
}

SmallPages::~SmallPages() {
    const std::lock_guard lock(mutex);
    if (--standing == 0)
        ::prctl(PR_SET_THP_DISABLE, 0, 0, 0, 0);
}

} // namespace tavro
