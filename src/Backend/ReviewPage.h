#pragma once

#include "Backend/BackendClient.h"

#include <QByteArray>

namespace tavro {

/// What a review page shows. It leaves out what is absent.
struct ReviewedTake {
    std::optional<QString> project = {};
    std::optional<QString> scenario = {};
    std::optional<QString> description = {}; ///< of the scenario
    std::optional<QString> display = {};
    std::optional<QString> address = {}; ///< of the application under test, as it was entered
    std::optional<QString> link = {};    ///< the same, when it is a web address
    std::optional<QString> begun = {};   ///< ISO 8601
    std::optional<double> durationSeconds = {};
    std::vector<TakePause> pauses = {};
};

/// `link` for an address: http and https only.
std::optional<QString> webLink(const std::optional<QString>& address);

/// One HTML file that plays the video.mp4 beside it and loads nothing else. Texts are shown as they are,
/// whatever they contain. Throws JsonError. Any thread.
QByteArray reviewPage(const ReviewedTake& take);

/// Replaces the file as a whole, or throws and leaves it. Only its user can read it. Any thread.
void writeReviewPage(const ReviewedTake& take, const std::filesystem::path& file);

} // namespace tavro
