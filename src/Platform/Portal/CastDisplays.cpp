#include "Platform/Portal/CastDisplays.h"

#include <QStringList>

#include <algorithm>

namespace tavro::portal {
namespace {

constexpr unsigned window = 2; // a type of source

// FNV-1a. Numbers of displays must stay the same from one start of the program to the next.
std::uint32_t numberOf(const QString& key) {
    std::uint32_t hash = 2166136261U;
    for (const char byte : key.toUtf8())
        hash = (hash ^ static_cast<unsigned char>(byte)) * 16777619U;
    return hash & 0x7fffffffU;
}

bool haveSameSize(const WaylandOutput& a, const WaylandOutput& b) {
    const auto has = [&a](const QSize& size) { return a.pixels == size || a.area.size() == size; };
    return has(b.pixels) || has(b.area.size());
}

bool canShow(const CastStream& stream, const WaylandOutput& output) {
    if (stream.size && *stream.size != output.area.size() && *stream.size != output.pixels)
        return false;
    const bool isTold = stream.position && (!stream.position->isNull() || !stream.id.isEmpty());
    return !isTold || *stream.position == output.area.topLeft();
}

CastDisplay entryFor(std::vector<WaylandOutput> outputs) {
    QStringList names;
    for (const WaylandOutput& output : outputs)
        names << output.connector;
    CastDisplay entry;
    entry.key = names.join(u'+');
    entry.outputs = std::move(outputs);
    const WaylandOutput& first = entry.outputs.front();
    entry.shown.displayID = numberOf(entry.key);
    entry.shown.width = first.pixels.width();
    entry.shown.height = first.pixels.height();
    entry.isAmbiguous = std::ranges::any_of(
        entry.outputs, [&first](const WaylandOutput& other) { return other.area != first.area; });
    if (entry.isAmbiguous)
        entry.shown.label = QStringLiteral("Display chosen in the desktop's dialog");
    return entry;
}

} // namespace

std::vector<CastDisplay> castDisplays(const std::vector<WaylandOutput>& outputs, bool tellsPositions) {
    std::vector<std::vector<WaylandOutput>> groups;
    for (const WaylandOutput& output : outputs) {
        const auto same = std::ranges::find_if(groups, [&](const auto& group) {
            return std::ranges::any_of(group, [&](const WaylandOutput& other) {
                return output.area == other.area || (!tellsPositions && haveSameSize(output, other));
            });
        });
        if (same == groups.end())
            groups.push_back({output});
        else
            same->push_back(output);
    }
    std::vector<CastDisplay> displays;
    for (auto& group : groups)
        displays.push_back(entryFor(std::move(group)));
    return displays;
}

const CastDisplay* displayOf(const CastStream& stream, const std::vector<CastDisplay>& displays) {
    // A single display needs no sign: portals round sizes in their own ways. Some call displays windows, too.
    if (displays.size() == 1 && displays.front().outputs.size() == 1 && stream.sourceType != window)
        return &displays.front();
    const CastDisplay* found = nullptr;
    for (const CastDisplay& display : displays) {
        const bool fits = std::ranges::any_of(
            display.outputs, [&](const WaylandOutput& output) { return canShow(stream, output); });
        if (fits && found)
            return nullptr; // it could be either
        if (fits)
            found = &display;
    }
    return found;
}

} // namespace tavro::portal
