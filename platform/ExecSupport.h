#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <sys/types.h>

// What keldts-node-exec's parts share: they run between a caller and a node, free of Qt.
namespace execsupport {

inline constexpr int kUsageStatus = 2;
inline constexpr int kFailureStatus = 1;

// Says `message` on stderr as keldts-node-exec and gives `status` back.
int fail(int status, const std::string& message);
// `what` and the text of the error `error`.
std::string withCause(const std::string& what, int error);
// Sends all of `bytes` on the socket `fd`; a reader who left makes it fail, not SIGPIPE.
bool sendAll(int fd, std::string_view bytes);
// Writes all of `bytes` to the file `fd`, over as many writes as it takes: at `offset`, leaving
// the file position alone, when one is given. False with errno set.
bool writeAll(int fd, std::string_view bytes, std::optional<off_t> offset = std::nullopt);

} // namespace execsupport
