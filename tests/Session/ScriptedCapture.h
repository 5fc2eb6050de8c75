#pragma once

#include "Core/Paths.h"
#include "Session/CaptureController.h"

#include "Session/Script.h"
#include "support/TestSupport.h"

namespace tavro::test {

/// A capture that writes small placeholder files. A failed start leaves its file, like an interrupted one.
class ScriptedCapture final : public CaptureController {
public:
    explicit ScriptedCapture(Script& playedScript) : script(playedScript) {}

    bool running = false;
    bool paused = false;
    std::optional<std::chrono::steady_clock::time_point> filmBegan;

    QCoro::Task<> start(CaptureTargetMeta target, bool includeMic, std::filesystem::path outputURL) override {
        withSound = includeMic;
        kind = target.kind;
        return startTake(u"start"_qs, outputURL);
    }
    void pause() override {
        script.calls << u"pause"_qs;
        paused = true;
    }
    void resume() override {
        script.calls << u"resume"_qs;
        paused = false;
    }
    QCoro::Task<std::filesystem::path> stop() override {
        co_await script.step(u"stop"_qs);
        running = false;
        co_return std::filesystem::path(video); // a copy: the task would move the member away
    }
    QCoro::Task<> restartTake(std::filesystem::path outputURL) override {
        return startTake(u"restartTake"_qs, outputURL);
    }
    QCoro::Task<> discard() override {
        co_await script.step(u"discard"_qs);
        running = false;
        std::filesystem::remove(video);
        std::filesystem::remove(audio());
    }
    std::optional<std::chrono::steady_clock::time_point> beginning() const override { return filmBegan; }
    std::optional<std::filesystem::path> audioFile() const override {
        return withSound ? std::optional(audio()) : std::nullopt;
    }

private:
    QCoro::Task<> startTake(QString name, std::filesystem::path outputURL) {
        video = outputURL;
        running = true;
        paused = false;
        const QByteArray take = QByteArray::number(++takes);
        writeFile(video, "picture " + take);
        if (withSound)
            writeFile(audio(), "sound " + take);
        return script.step(name);
    }
    std::filesystem::path audio() const { return std::filesystem::path(video).replace_extension("m4a"); }

    Script& script;
    CaptureKind kind{};
    bool withSound = false;
    int takes = 0;
    std::filesystem::path video;
};

class ScriptedMuxer final : public TakeMuxer {
public:
    explicit ScriptedMuxer(Script& playedScript) : script(playedScript) {}
    QCoro::Task<> mux(
        std::filesystem::path video, std::filesystem::path audio, std::filesystem::path out) override {
        co_await script.step(u"mux"_qs);
        writeFile(out, readFile(video) + " + " + readFile(audio));
    }
    QCoro::Task<> complete(std::filesystem::path) override { return script.step(u"complete"_qs); }

private:
    Script& script;
};

} // namespace tavro::test
