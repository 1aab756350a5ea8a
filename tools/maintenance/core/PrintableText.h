#ifndef KORVANE_TOOLS_MAINTENANCE_PRINTABLETEXT_H
#define KORVANE_TOOLS_MAINTENANCE_PRINTABLETEXT_H

#include <string>

namespace korvane::maintenance {

// Text a module or a file supplied, safe to print on a terminal: every byte
// outside printable ASCII becomes \xNN (lower-case hex) and a backslash
// becomes \\, so that no escape sequence or line end of a device reaches
// the terminal and the text can be read back unambiguously.
std::string printableText(const std::string& text);

} // namespace korvane::maintenance

#endif
