#pragma once

#include "Core/Promise.h"
#include "Platform/ScreenCapture.h"

#include <QStringList>

#include <chrono>
#include <cstdint>
#include <exception>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

namespace tavro {

class BlankPicture final : public VideoFrame {
public:
    explicit BlankPicture(std::chrono::steady_clock::time_point shown) {
        width = height = 2;
        planes[0] = planes[1] = planes[2] = &pixel;
        presentationTime = std::chrono::duration_cast<std::chrono::microseconds>(shown.time_since_epoch());
    }

private:
    std::uint8_t pixel = 0;
};

/// A screen controlled by the test. Chosen steps fail. Outlives its streams. Main thread.
class FakeScreenCapture final : public ScreenCaptureService {
public:
    enum class Step {
        shareableContent,
        makeRecordingOutput,
        addStreamOutput,
        addRecordingOutput,
        startCapture,
        stopCapture
    };

    ShareableContent content;
    std::map<Step, std::exception_ptr> failing;
    /// Sent by every `startCapture()` and every `stopCapture()`.
    VideoFramePtr firstFrame;
    VideoFramePtr secondFrame; ///< sent before `startCapture()` completes
    VideoFramePtr lastFrame;
    /// Calls in order, with the arguments that matter, e.g. "makeStream window/7 1920x1080 6".
    QStringList calls;
    StreamConfiguration configuration; ///< of the last stream made
    StreamStatistics statistics{7, 2};
    bool canRead = true; ///< the latest frame; false as while the next is drawn

    void show(const VideoFramePtr& frame) {
        shown = frame;
        for (const auto& handler : std::vector(handlers))
            handler(frame);
    }

    /// A running capture ends by itself.
    void fail(const std::exception_ptr& reason) {
        handlers.clear();
        failureHandler(reason);
    }

    /// The desktop stops sharing.
    void interrupt() const { interruptionHandler(); }

    void onInterruption(std::function<void()> handler) override { interruptionHandler = std::move(handler); }
    QCoro::Task<ShareableContent> shareableContent() override {
        note(Step::shareableContent, QStringLiteral("shareableContent"));
        co_return ShareableContent(content); // a copy: the compiler moves even members
    }
    std::unique_ptr<ScreenStream> makeStream(
        const ContentFilter& filter, const StreamConfiguration& streamConfiguration) override {
        configuration = streamConfiguration;
        calls << QStringLiteral("makeStream %1/%2 %3x%4 %5")
                     .arg(filter.kind == ContentFilter::Kind::window ? QStringLiteral("window")
                                                                     : QStringLiteral("display"))
                     .arg(filter.id)
                     .arg(configuration.width)
                     .arg(configuration.height)
                     .arg(configuration.queueDepth);
        return std::make_unique<Stream>(*this);
    }
    std::shared_ptr<RecordingOutput> makeRecordingOutput(const std::filesystem::path& file) override {
        note(Step::makeRecordingOutput,
            QStringLiteral("makeRecordingOutput ") + QString::fromStdString(file.filename().string()));
        return std::make_shared<RecordingOutput>();
    }

private:
    class Stream final : public ScreenStream {
    public:
        explicit Stream(FakeScreenCapture& service) : screen(service) {}
        ~Stream() override {
            screen.handlers.clear();
            screen.shown.reset();
        }
        VideoFramePtr latestFrame() const override { return screen.canRead ? screen.shown : nullptr; }
        void addStreamOutput(FrameHandler added) override {
            screen.note(Step::addStreamOutput, QStringLiteral("addStreamOutput"));
            handler = std::move(added);
        }
        void addRecordingOutput(std::shared_ptr<RecordingOutput>) override {
            screen.note(Step::addRecordingOutput, QStringLiteral("addRecordingOutput"));
        }
        void setFailureHandler(FailureHandler added) override { screen.failureHandler = std::move(added); }
        QCoro::Task<> startCapture() override {
            screen.note(Step::startCapture, QStringLiteral("startCapture"));
            screen.handlers = {handler};
            for (const VideoFramePtr& frame : {screen.firstFrame, screen.secondFrame})
                if (frame)
                    screen.show(frame);
            co_return;
        }
        QCoro::Task<> stopCapture() override {
            screen.note(Step::stopCapture, QStringLiteral("stopCapture"));
            if (screen.lastFrame)
                screen.show(screen.lastFrame);
            screen.handlers.clear();
            co_return;
        }
        StreamStatistics statistics() const override { return screen.statistics; }

    private:
        FakeScreenCapture& screen;
        FrameHandler handler;
    };

    void note(Step step, const QString& call) {
        calls << call;
        if (const auto failure = failing.find(step); failure != failing.end())
            std::rethrow_exception(failure->second);
    }

    VideoFramePtr shown;
    std::vector<ScreenStream::FrameHandler> handlers;
    ScreenStream::FailureHandler failureHandler;
    std::function<void()> interruptionHandler = [] {};
};

} // namespace tavro
