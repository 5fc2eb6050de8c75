#pragma once

#include "Backend/HttpAnswer.h"

#include <chrono>
#include <filesystem>
#include <functional>
#include <stop_token>

namespace tavro {

using UploadProgress = std::function<void(qint64 sent, qint64 total)>;

/// Sends the file as the body of one PUT request, over a connection of its own, and waits for the answer.
/// Uses the system's proxies and certificates; sends no credentials, and nothing a second time.
///
/// Blocks the calling thread, and calls `progress` on it: when it starts, at most every 100 ms, and when the
/// whole file is sent.
///
/// Returns the answer without its body, as soon as the answer says that the upload has failed or, when it has
/// not, the whole file is sent. Throws PlatformError: of domain "QFile" when the file cannot be read, of
/// domain "curl" (a CURLcode and its text) when the transport fails, nothing has moved for `timeout`
/// (CURLE_OPERATION_TIMEDOUT) or a stop is requested (CURLE_ABORTED_BY_CALLBACK).
HttpAnswer putFile(const QUrl& url, const std::filesystem::path& path, std::chrono::milliseconds timeout,
    const UploadProgress& progress, const std::stop_token& stop);

} // namespace tavro
