#pragma once

#include <string>
#include <string_view>

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

} // namespace execsupport
