#pragma once

#include "Platform/Workspace.h"

#include <functional>
#include <utility>
#include <vector>

namespace tavro {

/// Records calls to `open()`. Main thread.
class FakeWorkspace final : public Workspace {
public:
    std::vector<QUrl> opened;
    int instances = 0;                ///< instances of this program started
    bool succeeds = true;             ///< result of every call
    std::function<void(QUrl)> onOpen; ///< simulates the user's program

    bool open(const QUrl& url) override {
        opened.push_back(url);
        if (onOpen)
            onOpen(url);
        return succeeds;
    }
    bool openNewApplicationInstance() override {
        ++instances;
        return succeeds;
    }
};

} // namespace tavro
