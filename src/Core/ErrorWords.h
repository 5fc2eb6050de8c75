#pragma once

#include "Core/Errors.h"

namespace tavro {

/// What the program was about to do when something failed.
enum class Attempt { createSession, upload, deleteSession, listProjects, listScenarios, local };

/// A failure as it is told to people.
struct ErrorWords {
    QString happened; ///< a sentence, without domain and number save for an HTTP status
    QString remedy;   ///< what the user can do about it; empty where nothing is known
};

/// The one place that turns an error into words for people. The details belong into the log.
ErrorWords inWords(const ErrorDescription& error, Attempt attempt);

/// `text` with a full stop, unless it has one or is empty.
QString asSentence(const QString& text);

} // namespace tavro
