#include "Programs.h"

#include "TestSupport.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>

namespace tavro::test {

Ended run(const QString& program, const QStringList& arguments, const QByteArray& input,
    const std::filesystem::path& folder) {
    const TemporaryFolder files;
    const auto in = files.path() / "in";
    const auto out = files.path() / "out";
    const auto complaints = files.path() / "complaints";
    writeFile(in, input);

    QList<QByteArray> words{program.toUtf8()};
    for (const QString& argument : arguments)
        words.append(argument.toUtf8());
    std::vector<char*> pointers;
    for (QByteArray& word : words)
        pointers.push_back(word.data());
    pointers.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    if (!folder.empty())
        posix_spawn_file_actions_addchdir_np(&actions, folder.c_str());
    constexpr int fresh = O_WRONLY | O_CREAT | O_TRUNC;
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, in.c_str(), O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, out.c_str(), fresh, 0600);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, complaints.c_str(), fresh, 0600);
    pid_t process = 0;
    const int failed = posix_spawnp(&process, pointers[0], &actions, nullptr, pointers.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (failed)
        return {127, {}, "no such program"};
    int status = 0;
    while (waitpid(process, &status, 0) < 0 && errno == EINTR) {
    }
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, readFile(out), readFile(complaints)};
}

QByteArray outputOf(
    const QString& program, const QStringList& arguments, const std::filesystem::path& folder) {
    const Ended ended = run(program, arguments, {}, folder);
    if (ended.exitCode != 0)
        throw std::runtime_error(
            (program + u' ' + arguments.join(u' ')).toStdString() + ": " + ended.complaints.toStdString());
    return ended.output;
}

} // namespace tavro::test
