#pragma once

namespace tavro {

/// While any of these stands, the process gets no huge pages: the encoder asks for them, also for buffers of
/// which it uses the beginning alone, 7 MB in all. Any thread.
class SmallPages {
public:
    SmallPages();
    ~SmallPages();
    SmallPages(const SmallPages&) = delete;
    SmallPages& operator=(const SmallPages&) = delete;
};

} // namespace tavro
