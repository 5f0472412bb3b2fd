#pragma once

// Where the project lives on the web: the Help menu, the about box and the messages that send
// the sysop there.
namespace links {
inline constexpr const char* kHomePage = "https://keldts.example.org";
inline constexpr const char* kSupport = "https://keldts.example.org/support";
inline constexpr const char* kDocumentation = "https://keldts.example.org/docs";
inline constexpr const char* kBbsDocumentation = "https://keldts.example.org/docs/bbs";
inline constexpr const char* kDonate = "https://keldts.example.org/donate";
inline constexpr const char* kDownload = "https://keldts.example.org/download";
} // namespace links
