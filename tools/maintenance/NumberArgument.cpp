#include "NumberArgument.h"

namespace korvane::maintenance {

namespace {

int digitValue(char c, int base)
{
    int digit = -1;
    if (c >= '0' && c <= '9')
        digit = c - '0';
    else if (c >= 'a' && c <= 'f')
        digit = c - 'a' + 10;
    else if (c >= 'A' && c <= 'F')
        digit = c - 'A' + 10;
    return digit < base ? digit : -1;
}

} // namespace

bool parseNumber(const std::string& text, std::uint64_t max, std::uint64_t& value)
{
    const bool hex = text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
    const int base = hex ? 16 : 10;
    const std::size_t start = hex ? 2 : 0;
    if (text.size() == start)
        return false;
    std::uint64_t result = 0;
    for (std::size_t i = start; i < text.size(); ++i) {
        const int digit = digitValue(text[i], base);
        if (digit < 0 || static_cast<std::uint64_t>(digit) > max ||
            result > (max - static_cast<std::uint64_t>(digit)) / base)
            return false;
        result = result * base + static_cast<std::uint64_t>(digit);
    }
    value = result;
    return true;
}

} // namespace korvane::maintenance
