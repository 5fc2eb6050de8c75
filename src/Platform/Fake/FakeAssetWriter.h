#pragma once

#include "Core/Promise.h"
#include "Platform/AssetWriter.h"

#include <QStringList>

#include <atomic>
#include <functional>
#include <mutex>
#include <optional>
#include <set>
#include <utility>
#include <vector>

namespace tavro {

/// Encodes nothing, records calls, fails at chosen steps. Settings apply to all writers. Any thread.
class FakeAssetWriterFactory final : public AssetWriterFactory {
public:
    enum class Step {
        makeAssetWriter, ///< throws `error`
        addInput,        ///< refused
        startWriting,    ///< refused
        append,          ///< the input is not ready
        write,           ///< the writer has failed with `error` and refuses everything
        finishWriting,   ///< ends as failed, with `error`
    };
    struct Appended {
        MediaTime time;
        std::vector<std::int16_t> samples; ///< of sound
        VideoFramePtr frame;               ///< of a picture
    };

    void setError(std::exception_ptr reason) {
        change([&] { state->error = std::move(reason); });
    }
    void fail(Step step) {
        change([&] { state->failing.insert(step); });
    }
    void succeed(Step step) {
        change([&] { state->failing.erase(step); });
    }
    void holdFinish(Promise<void> release) {
        change([&] { state->hold = std::move(release); });
    }

    /// Calls in order, with the arguments that matter: "makeAssetWriter t.m4a", "addAudioInput 16000 1
    /// 64000", "addVideoInput 1920 1080", "startWriting", "startSession 0/16000", "append", "markAsFinished",
    /// "finishWriting", "cancel" (an unfinished writer is destroyed).
    QStringList calls() const {
        const std::lock_guard lock(state->mutex);
        return state->calls;
    }
    std::vector<Appended> appended() const {
        const std::lock_guard lock(state->mutex);
        return state->appended;
    }

    std::unique_ptr<AssetWriter> makeAssetWriter(const std::filesystem::path& file, FileType) override {
        state->note(QStringLiteral("makeAssetWriter ") + QString::fromStdString(file.filename().string()));
        if (state->fails(Step::makeAssetWriter))
            std::rethrow_exception(state->reason());
        return std::make_unique<Writer>(state);
    }

private:
    struct State {
        mutable std::mutex mutex;
        std::exception_ptr error;
        std::set<Step> failing;
        std::optional<Promise<void>> hold;
        QStringList calls;
        std::vector<Appended> appended;

        void note(const QString& call) {
            const std::lock_guard lock(mutex);
            calls << call;
        }
        bool fails(Step step) const {
            const std::lock_guard lock(mutex);
            return failing.contains(step);
        }
        std::exception_ptr reason() const {
            const std::lock_guard lock(mutex);
            return error;
        }
    };

    template <class Interface>
    class Input : public Interface {
    public:
        explicit Input(std::shared_ptr<State> shared) : state(std::move(shared)) {}
        bool isReadyForMoreMediaData() const override {
            return !state->fails(Step::append) && !state->fails(Step::write);
        }
        void markAsFinished() override { state->note(QStringLiteral("markAsFinished")); }

    protected:
        bool take(Appended what) {
            if (!isReadyForMoreMediaData())
                return false;
            state->note(QStringLiteral("append"));
            const std::lock_guard lock(state->mutex);
            state->appended.push_back(std::move(what));
            return true;
        }

    private:
        const std::shared_ptr<State> state;
    };
    class VideoInput final : public Input<VideoWriterInput> {
    public:
        using Input::Input;
        bool append(const VideoFramePtr& frame) override {
            const bool taken = take({{frame->presentationTime.count(), std::micro::den}, {}, frame});
            refused += taken ? 0 : 1;
            return taken;
        }
        std::uint64_t framesRefused() const override { return refused; }

    private:
        std::uint64_t refused = 0;
    };
    class AudioInput final : public Input<AudioWriterInput> {
    public:
        using Input::Input;
        bool append(std::span<const std::int16_t> samples, MediaTime time) override {
            return take({time, {samples.begin(), samples.end()}, nullptr});
        }
    };

    class Writer final : public AssetWriter {
    public:
        explicit Writer(std::shared_ptr<State> shared) : state(std::move(shared)) {}
        ~Writer() override {
            if (current == Status::unknown || current == Status::writing)
                state->note(QStringLiteral("cancel"));
        }
        std::shared_ptr<VideoWriterInput> addVideoInput(const VideoSettings& settings) override {
            state->note(QStringLiteral("addVideoInput %1 %2").arg(settings.width).arg(settings.height));
            return state->fails(Step::addInput) ? nullptr : std::make_shared<VideoInput>(state);
        }
        std::shared_ptr<AudioWriterInput> addAudioInput(const AudioSettings& settings) override {
            state->note(QStringLiteral("addAudioInput %1 %2 %3")
                            .arg(settings.sampleRate)
                            .arg(settings.channels)
                            .arg(settings.bitRate));
            return state->fails(Step::addInput) ? nullptr : std::make_shared<AudioInput>(state);
        }
        bool startWriting() override {
            state->note(QStringLiteral("startWriting"));
            if (state->fails(Step::startWriting))
                return false;
            current = Status::writing;
            return true;
        }
        void startSession(MediaTime sourceTime) override {
            state->note(QStringLiteral("startSession %1/%2").arg(sourceTime.value).arg(sourceTime.timescale));
        }
        QCoro::Task<> finishWriting() override {
            state->note(QStringLiteral("finishWriting"));
            const auto hold = held();
            if (hold)
                co_await *hold;
            current = state->fails(Step::finishWriting) ? Status::failed : Status::completed;
        }
        Status status() const override { return state->fails(Step::write) ? Status::failed : current.load(); }
        std::exception_ptr error() const override {
            return status() == Status::failed ? state->reason() : nullptr;
        }

    private:
        std::optional<Promise<void>> held() const {
            const std::lock_guard lock(state->mutex);
            return state->hold;
        }

        const std::shared_ptr<State> state;
        std::atomic<Status> current = Status::unknown;
    };

    void change(const std::function<void()>& apply) {
        const std::lock_guard lock(state->mutex);
        apply();
    }

    const std::shared_ptr<State> state = std::make_shared<State>();
};

} // namespace tavro
