#pragma once

#include "UI/ViewWindow.h"

#include <QString>

#include <functional>
#include <memory>
#include <vector>

namespace tavro::gallery {

/// The program's windows in one state. Only service, answers and secrets are fake.
class Scene {
public:
    virtual ~Scene() = default;
    virtual std::vector<ViewWindow*> windows() const = 0; ///< the first is the main one
    virtual bool isReady() const { return true; }         ///< its data is loaded
    virtual void arrange() {}                             ///< final changes, once it is ready
    virtual void restoreService() {}                      ///< where it cannot be reached
};

struct Entry {
    QString name;
    std::function<std::unique_ptr<Scene>()> open;
};

std::vector<Entry> entries();

} // namespace tavro::gallery
