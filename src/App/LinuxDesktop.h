#pragma once

#include "App/SessionScreen.h"
#include "Core/Paths.h"
#include "Platform/Desktop/DesktopInhibitor.h"
#include "Platform/Desktop/DesktopNotifier.h"
#include "Platform/Desktop/DesktopPrivacy.h"
#include "Platform/Desktop/DesktopTrayHost.h"
#include "Platform/Desktop/DesktopWorkspace.h"
#include "Platform/Desktop/KeychainStore.h"
#include "Platform/Media/Media.h"
#include "Platform/Pulse/PulseSound.h"
#include "Platform/ScreenCapture.h"
#include "Platform/Windowing/DesktopWindowing.h"

namespace tavro {

/// The concrete platform. Construct it after the QApplication; main thread.
struct LinuxDesktop {
    std::shared_ptr<KeychainStore> secrets =
        std::make_shared<KeychainStore>(Paths::applicationSupport() / "tavro" / "secrets.json");
    std::shared_ptr<DesktopWorkspace> workspace = std::make_shared<DesktopWorkspace>();
    DesktopNotifier notifier;
    DesktopInhibitor inhibitor;
    DesktopTrayHost trayHost;
    DesktopWindowing windowing;

    const std::unique_ptr<AssetWriterFactory> writers = makeAssetWriterFactory();
    const SessionScreen screen = makeSessionScreen(*writers);
    const std::unique_ptr<MediaLibrary> media = makeMediaLibrary();
    const std::unique_ptr<AudioConverterFactory> converters = makeAudioConverterFactory();
    PulseSound sound;
    DesktopPrivacy privacy{DesktopPrivacy::standardAnswers(), privacyProbes(), notifier};
    const SystemVersion systemVersion;

private:
    DesktopPrivacy::Probes privacyProbes();
};

} // namespace tavro
