#pragma once

namespace tavro {

/// Disables the process's huge pages, which x264 requests for half-used buffers: 7 MB in all. Any thread.
class SmallPages {
public:
    SmallPages();
    ~SmallPages();
    SmallPages(const SmallPages&) = delete;
    SmallPages& operator=(const SmallPages&) = delete;
};

} // namespace tavro
