#include "Audio/SourcePairing.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <new>
#include <thread>

namespace tavro {
namespace {

using namespace std::chrono_literals;

namespace Source {
constexpr SourcePairing::Source microphone = 0, system = 1, third = 2;
}

struct Pairs {
    explicit Pairs(std::size_t sources = 2)
        : pairing(sources, [this](std::vector<AudioFrame> frames) { given.push_back(std::move(frames)); }) {}
    std::vector<std::vector<AudioFrame>> given;
    SourcePairing pairing;
    AudioFrame all(SourcePairing::Source source) const {
        AudioFrame joined;
        for (const auto& frames : given)
            joined.insert(joined.end(), frames[source].begin(), frames[source].end());
        return joined;
    }
};

TEST(SourcePairing, putsTogetherWhatWasHeardTogether) {
    Pairs p;
    p.pairing.add(Source::microphone, {1, 2});
    p.pairing.begin(Source::microphone, 125us); // two samples after the take's beginning
    EXPECT_TRUE(p.given.empty());
    p.pairing.begin(Source::system, 0us);
    p.pairing.add(Source::system, {10, 20, 30});
    p.pairing.add(Source::microphone, {3, 4});
    p.pairing.add(Source::system, {40});
    for (const auto& frames : p.given)
        EXPECT_EQ(frames[0].size(), frames[1].size());
    p.pairing.close();
    p.pairing.add(Source::system, {99});
    EXPECT_EQ(p.all(Source::microphone), (AudioFrame{0, 0, 1, 2, 3, 4}));
    EXPECT_EQ(p.all(Source::system), (AudioFrame{10, 20, 30, 40, 0, 0}));
}

TEST(SourcePairing, passesOneSourceOnAlone) {
    Pairs p;
    p.pairing.begin(Source::microphone, 0us);
    p.pairing.add(Source::microphone, {1, 2});
    p.pairing.leaveOut(Source::system);
    p.pairing.add(Source::microphone, {3});
    p.pairing.close();
    EXPECT_EQ(p.all(Source::microphone), (AudioFrame{1, 2, 3}));
    EXPECT_TRUE(p.all(Source::system).empty());
}

TEST(SourcePairing, doesNotWaitForeverForASourceThatFellSilent) {
    Pairs p;
    p.pairing.begin(Source::microphone, 0us);
    p.pairing.begin(Source::system, 0us);
    for (int i = 0; i < 30; ++i)
        p.pairing.add(Source::microphone, AudioFrame(1600, 5));
    EXPECT_EQ(p.all(Source::microphone), AudioFrame(2 * 16'000, 5));
    EXPECT_EQ(p.all(Source::system), AudioFrame(2 * 16'000, 0));
    // It comes to itself: what was not waited for is left out, and the rest is where it belongs.
    p.pairing.add(Source::system, AudioFrame(2 * 16'000, 7));
    p.pairing.add(Source::system, AudioFrame(16'000, 8));
    EXPECT_EQ(p.all(Source::microphone), AudioFrame(3 * 16'000, 5));
    AudioFrame expected(2 * 16'000, 0);
    expected.resize(3 * 16'000, 8);
    EXPECT_EQ(p.all(Source::system), expected);
}

TEST(SourcePairing, doesNotWaitForeverForASourceThatBeginsLate) {
    Pairs p;
    p.pairing.begin(Source::system, 0us);
    for (int i = 0; i < 30; ++i)
        p.pairing.add(Source::system, AudioFrame(1600, 5));
    EXPECT_EQ(p.all(Source::system), AudioFrame(2 * 16'000, 5))
        << "what is over a second old waits no longer";
    EXPECT_EQ(p.all(Source::microphone), AudioFrame(2 * 16'000, 0));
    // Its line reaches back to before what was handed over; the rest is where it belongs.
    p.pairing.begin(Source::microphone, 1s);
    p.pairing.add(Source::microphone, AudioFrame(16'000, 7));
    p.pairing.add(Source::microphone, AudioFrame(16'000, 8));
    AudioFrame expected(2 * 16'000, 0);
    expected.resize(3 * 16'000, 8);
    EXPECT_EQ(p.all(Source::microphone), expected);
    EXPECT_EQ(p.all(Source::system), AudioFrame(3 * 16'000, 5));
}

TEST(SourcePairing, putsSilenceBeforeASourceThatBeginsLater) {
    Pairs p;
    p.pairing.begin(Source::system, 0us);
    p.pairing.add(Source::system, AudioFrame(2 * 16'000, 5));
    p.pairing.begin(Source::microphone, 3s); // its origin is yet to come
    p.pairing.add(Source::microphone, AudioFrame(16'000, 7));
    p.pairing.close();
    AudioFrame expected(3 * 16'000, 0);
    expected.resize(4 * 16'000, 7);
    EXPECT_EQ(p.all(Source::microphone), expected);
}

TEST(SourcePairing, endsWithASourceThatNeverBegan) {
    Pairs p;
    p.pairing.add(Source::microphone, {9}); // though it has delivered
    p.pairing.begin(Source::system, 0us);
    p.pairing.add(Source::system, {1, 2, 3});
    EXPECT_TRUE(p.given.empty());
    p.pairing.close();
    EXPECT_EQ(p.all(Source::system), (AudioFrame{1, 2, 3}));
    EXPECT_TRUE(p.all(Source::microphone).empty());
    p.pairing.begin(Source::microphone, 0us);
    p.pairing.leaveOut(Source::system);
    EXPECT_EQ(p.given.size(), 1u) << "nothing comes after the end";
}

TEST(SourcePairing, takesAnyNumberOfSources) {
    for (const std::size_t count : {1u, 3u, 5u}) {
        Pairs p(count);
        for (SourcePairing::Source source = 0; source < count; ++source)
            p.pairing.begin(source, source * 125us); // two samples later each
        for (SourcePairing::Source source = count; source-- > 0;)
            p.pairing.add(source, AudioFrame(4, static_cast<std::int16_t>(source + 1)));
        p.pairing.close();
        for (SourcePairing::Source source = 0; source < count; ++source) {
            AudioFrame expected(2 * source, 0);
            expected.resize(2 * source + 4, static_cast<std::int16_t>(source + 1));
            expected.resize(2 * (count - 1) + 4, 0);
            EXPECT_EQ(p.all(source), expected) << source << " of " << count;
        }
    }
    Pairs p(3);
    p.pairing.begin(Source::microphone, 0us);
    p.pairing.leaveOut(Source::system);
    p.pairing.begin(Source::third, 0us);
    p.pairing.add(Source::microphone, {1, 2});
    EXPECT_TRUE(p.given.empty());
    p.pairing.add(Source::third, {3});
    EXPECT_EQ(p.given, (std::vector<std::vector<AudioFrame>>{{{1}, {}, {3}}}));
}

TEST(SourcePairing, endsAlsoWhereItsReceiverFails) {
    int calls = 0;
    SourcePairing pairing(2, [&](const std::vector<AudioFrame>&) {
        if (++calls == 1)
            throw std::bad_alloc();
    });
    pairing.begin(Source::microphone, 0us);
    pairing.leaveOut(Source::system);
    EXPECT_THROW(pairing.add(Source::microphone, {1}), std::bad_alloc);
    pairing.add(Source::microphone, {2});
    pairing.close();
    EXPECT_EQ(calls, 2);
}

TEST(SourcePairing, keepsTheOrderOfTwoThreads) {
    Pairs p;
    p.pairing.begin(Source::microphone, 0us);
    p.pairing.begin(Source::system, 0us);
    constexpr int count = 15'000; // less than what one source waits for the other
    const auto feed = [&](SourcePairing::Source source, int step) {
        for (int i = 0; i < count; i += step) {
            AudioFrame frame;
            for (int k = i; k < std::min(i + step, count); ++k)
                frame.push_back(static_cast<std::int16_t>(k));
            p.pairing.add(source, frame);
        }
    };
    {
        const std::jthread mic(feed, Source::microphone, 13);
        const std::jthread sys(feed, Source::system, 7);
    }
    p.pairing.close();
    EXPECT_EQ(p.all(Source::microphone).size(), static_cast<std::size_t>(count));
    EXPECT_EQ(p.all(Source::microphone), p.all(Source::system));
    EXPECT_TRUE(std::ranges::is_sorted(p.all(Source::microphone)));
}

} // namespace
} // namespace tavro
