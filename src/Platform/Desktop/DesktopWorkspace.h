#pragma once

#include "Platform/Workspace.h"

namespace tavro {

/// Opens through `xdg-open`, found in PATH at each call. Detaches the process and never waits for it.
class DesktopWorkspace final : public Workspace {
public:
    bool open(const QUrl& url) override;
    bool openNewApplicationInstance() override;
};

} // namespace tavro
