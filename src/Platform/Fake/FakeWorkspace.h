#pragma once

#include "Platform/Workspace.h"

#include <functional>
#include <utility>
#include <vector>

namespace tavro {

/// Notes what would have been opened. Main thread.
class FakeWorkspace final : public Workspace {
public:
    std::vector<QUrl> opened;
    int instances = 0;                ///< of this program that would have been started
    bool succeeds = true;             ///< what every call returns
    std::function<void(QUrl)> onOpen; ///< what the user's program does then

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
