#pragma once

namespace tavro {

/// Call first in `main`. Writing to a pipe without a reader is then an error like others, not the program's
/// end, and a standard stream that was closed leads to /dev/null: no file opened later takes its number and
/// the log's lines. Child processes get SIGPIPE's default back.
void secureStandardStreams();

} // namespace tavro
