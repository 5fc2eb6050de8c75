#include "App/CommandLine.h"

#include "Core/Version.h"
#include "Platform/Desktop/SingleInstance.h"

#include <QCoreApplication>

#include <cstdio>
#include <cstdlib>
#include <string_view>

namespace tavro {
namespace {

constexpr int wrongUsage = 2;

constexpr const char* help = R"(Usage: tavro [--quit | --version | --help]

Records what a tester does: the screen, the microphone and the computer's own sound.
Without an option it starts, or turns to the instance that runs already.

  --quit       ends the instance that runs
  --version    prints the version
  --help       prints this text
)";

/// Ends the instance that runs, as “Quit” in the menu does: a desktop without a tray has no menu.
int quitRunningInstance(int argc, char** argv) {
    const QCoreApplication application(argc, argv);
    if (SingleInstance::ask(QStringLiteral("quit")))
        return EXIT_SUCCESS;
    std::fputs("tavro: no instance runs that could be ended.\n", stderr);
    return EXIT_FAILURE;
}

} // namespace

std::optional<int> answerCommandLine(int argc, char** argv) {
    if (argc < 2)
        return std::nullopt;
    const std::string_view option = argv[1];
    if (argc == 3 && option == "-session") // so a session manager starts again what ran before; Qt takes it
        return std::nullopt;
    if (argc == 2 && option == "--quit")
        return quitRunningInstance(argc, argv);
    if (argc == 2 && option == "--version") {
        std::printf("tavro %s\n", version);
        return EXIT_SUCCESS;
    }
    if (argc == 2 && option == "--help") {
        std::fputs(help, stdout);
        return EXIT_SUCCESS;
    }
    std::fputs("tavro: it takes one of --quit, --version and --help, or nothing.\n", stderr);
    return wrongUsage;
}

} // namespace tavro
