#include "Extension_Unit_Class/Module_Identity.h"

#include "Extension_Unit_Class/camera_api.h"

#include <cstdio>

namespace {

// A fixed-size text field up to its first NUL, or whole when it has none.
template <std::size_t Size>
std::string Field_Text(const char (&field)[Size])
{
    std::size_t length = 0;
    while (length < Size && field[length] != '\0')
        ++length;
    return std::string(field, length);
}

} // namespace

Module_Identity Module_Identity::Of(const info_camera_os& information, const info_camera_String& strings)
{
    return Of(information.vid, information.pid, Field_Text(strings.iSerialNumber), Field_Text(information.location));
}

Module_Identity Module_Identity::Of(unsigned vendorId, unsigned productId, const std::string& serial,
                                    const std::string& busPlace)
{
    Module_Identity identity;
    const std::string& module = serial.empty() ? busPlace : serial;
    if (module.empty())
        return identity;
    char ids[16];
    std::snprintf(ids, sizeof ids, "%04x:%04x:", vendorId & 0xFFFFu, productId & 0xFFFFu);
    identity.m_text = ids + module;
    return identity;
}

bool Module_Identity::Is_Same_Module(const Module_Identity& other) const
{
    return !m_text.empty() && m_text == other.m_text;
}

std::string Module_Identity::Identification_Text(const info_camera_os& information, const info_camera_String& strings)
{
    const std::string release = std::to_string(information.bcdDevice);
    return release + "-" + release + "-" + std::to_string(information.vid) + "-" + Field_Text(strings.iSerialNumber);
}
