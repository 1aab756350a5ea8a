#ifndef KORVANE_EXTENSION_UNIT_MODULE_IDENTITY_H
#define KORVANE_EXTENSION_UNIT_MODULE_IDENTITY_H

// What tells one physical module from every other across re-enumeration:
// its USB vendor and product ids and its serial number. Those stay the same
// when the module restarts and comes back; its video node and list index may
// not, and its release number (bcdDevice) may change with a new firmware.
// A module without a serial number is told by its bus place instead.

#include <string>
#include "Extension_Unit_Class/KorvaneControlExport.h"

struct _info_camera_os_;
struct _info_camera_String_;

class KORVANE_CONTROL_EXPORT Module_Identity
{
public:
    // An identity that matches no module.
    Module_Identity() = default;

    // The identity of the module those two records describe.
    static Module_Identity Of(const _info_camera_os_& information, const _info_camera_String_& strings);
    // The same from its parts; serial or busPlace may be empty.
    static Module_Identity Of(unsigned vendorId, unsigned productId, const std::string& serial,
                              const std::string& busPlace);

    // "vvvv:pppp:<serial>" (ids in four lower-case hex digits), the bus place
    // in the serial's stead when there is none; empty for an identity that
    // matches no module.
    const std::string& Text() const { return m_text; }

    // True when both identities name the same module; an empty identity
    // (no serial and no bus place) never matches, not even itself.
    bool Is_Same_Module(const Module_Identity& other) const;

    // The module's identification string as the maintenance operations give
    // it: bcdDevice "-" bcdDevice "-" vid "-" serial, in decimal without
    // padding ("256-256-1234-A1").
    static std::string Identification_Text(const _info_camera_os_& information,
                                           const _info_camera_String_& strings);

private:
    std::string m_text;
};

#endif
