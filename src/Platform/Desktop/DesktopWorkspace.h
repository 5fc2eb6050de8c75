#pragma once

#include "Platform/Workspace.h"

namespace tavro {

/// The desktop as freedesktop.org's tools reach it: `xdg-open`, as found in PATH at each call, knows the
/// user's programs. It runs by itself, so that neither it nor the program that it starts is ever waited for.
class DesktopWorkspace final : public Workspace {
public:
    bool open(const QUrl& url) override;
    bool openNewApplicationInstance() override;
};

} // namespace tavro
