#pragma once

#include <QtGlobal>

namespace tavro {

/// While it lives, a start of Qt that finds no display ends the process with one sentence and exit code 1. Qt
/// itself writes several lines and aborts, which looks like a crash. Main thread, one at a time.
class DisplayNeeded {
public:
    DisplayNeeded();
    ~DisplayNeeded();
    DisplayNeeded(const DisplayNeeded&) = delete;
    DisplayNeeded& operator=(const DisplayNeeded&) = delete;

private:
    const QtMessageHandler before;
};

} // namespace tavro
