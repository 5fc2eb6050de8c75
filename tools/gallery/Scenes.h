#pragma once

#include "UI/ViewWindow.h"

#include <QString>

#include <functional>
#include <memory>
#include <vector>

namespace tavro::gallery {

/// The windows of the program in one state, on screen for as long as this lives. Everything behind them is
/// real but the service, the user's answers and the secrets, so that every state can be had at any time.
class Scene {
public:
    virtual ~Scene() = default;
    virtual std::vector<ViewWindow*> windows() const = 0; ///< the first is the main one
    virtual bool isReady() const { return true; }         ///< what it loads is there
    virtual void arrange() {}                             ///< the last touch, once it is ready
};

struct Entry {
    QString name;
    std::function<std::unique_ptr<Scene>()> open;
};

/// Every window in every state that a user can meet.
std::vector<Entry> entries();

} // namespace tavro::gallery
