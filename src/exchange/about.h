#pragma once
// What the program says of itself in the About box and in "--version": its version and build,
// its licence and the libraries it uses with their versions. It lives in a layer that sees
// every library the core links; Qt's version comes from the caller, the part of the program
// that links Qt.

#include <string>
#include <string_view>

namespace vantorel {

inline constexpr std::string_view kAboutCaption = "About Vantorel";

// The copyright, the licence and the libraries, one a line: what follows the version in the
// About box and in "--version".
std::string CreditsText(std::string_view qtVersion);
// The About box's text: "Vantorel V3.2 (build 1000)", then the credits.
std::string AboutText(std::string_view qtVersion);

}  // namespace vantorel
