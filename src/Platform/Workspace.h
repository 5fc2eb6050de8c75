#pragma once

#include <QUrl>

namespace tavro {

/// The desktop around the program. Main thread.
class Workspace {
public:
    virtual ~Workspace() = default;
    /// Opens a web address or a folder with the user's default program. False when that cannot be started.
    virtual bool open(const QUrl& url) = 0;
    /// False when the new instance cannot be started.
    virtual bool openNewApplicationInstance() = 0;
};

} // namespace tavro
