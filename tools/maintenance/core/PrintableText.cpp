#include "PrintableText.h"

namespace korvane::maintenance {

std::string printableText(const std::string& text)
{
    static const char kDigits[] = "0123456789abcdef";
    std::string printable;
    printable.reserve(text.size());
    for (char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte == '\\') {
            printable += "\\\\";
        } else if (byte >= 0x20 && byte < 0x7F) {
            printable += c;
        } else {
            printable += "\\x";
            printable += kDigits[byte >> 4];
            printable += kDigits[byte & 0xF];
        }
    }
    return printable;
}

} // namespace korvane::maintenance
