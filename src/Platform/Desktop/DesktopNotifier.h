#pragma once

#include "Platform/Notifier.h"

#include <memory>

namespace tavro {

/// The desktop's notification service (org.freedesktop.Notifications). Never blocks.
class DesktopNotifier final : public Notifier {
public:
    DesktopNotifier();
    ~DesktopNotifier() override;
    void show(Notification notification) override;

private:
    class Service;
    std::unique_ptr<Service> service;
};

} // namespace tavro
