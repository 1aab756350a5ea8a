#ifndef KORVANE_EXTENSION_UNIT_MODULE_HANDLE_H
#define KORVANE_EXTENSION_UNIT_MODULE_HANDLE_H

// One module on the process's camera list: its access record (owned, freed
// with the handle), and its information, strings and identity as they were
// read when the handle was made. The record's protocol is borrowed from the
// camera list, so it lasts only until the list is rebuilt; the identity
// lasts beyond, and Find_Again turns it into a handle on the new list.

#include "Extension_Unit_Class/Module_Identity.h"
#include "Extension_Unit_Class/camera_api.h"

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>
#include "Extension_Unit_Class/KorvaneControlExport.h"

class KORVANE_CONTROL_EXPORT Module_Handle
{
public:
    // A handle on the camera at that index of the present list; null when
    // the index has no camera with a protocol or its information cannot be read.
    static std::unique_ptr<Module_Handle> Open(int index);
    // Every readable camera of a freshly enumerated list, in list order.
    static std::vector<std::unique_ptr<Module_Handle>> Open_All();
    // Rebuilds the camera list up to rounds times, pause between rounds,
    // until a camera with that identity is on it. Camera_Status::Success with
    // the handle in found, or Camera_Status::Camera_Not_Back (found null)
    // after the last round: the wait is bounded by rounds x pause.
    // Every record taken from the list before is stale afterwards.
    static int Find_Again(const Module_Identity& identity, int rounds, std::chrono::milliseconds pause,
                          std::unique_ptr<Module_Handle>& found);

    ~Module_Handle();
    Module_Handle(const Module_Handle&) = delete;
    Module_Handle& operator=(const Module_Handle&) = delete;

    _Device_Point_* Device() const { return m_device; }
    const info_camera_os& Information() const { return m_information; }
    const info_camera_String& Strings() const { return m_strings; }
    const Module_Identity& Identity() const { return m_identity; }
    // "/dev/videoN".
    std::string Device_Path() const { return m_information.device; }
    // The identification string of the maintenance operations.
    std::string Identification() const;
    // The model name its protocol reported when the handle was made
    // ("UNKNOW" without one, as the unknown chip's protocol says), the controller chip ("SPCA2620", "unknown" for a model no known chip
    // reports) and the serial flash part fitted ("MX25L512", "unknown").
    std::string Model() const;
    std::string Chip_Name() const;
    std::string Flash_Part_Name() const;
    // The phase of this chip's firmware download at that percentage:
    // "preparing", "erasing", "writing and verifying", "header" or
    // "restarting"; "" for a chip without a download.
    std::string Download_Phase(float percent) const;
    // True when this chip's firmware download rewrites the flash that holds
    // its user data (the calibration among them): a caller keeps a backup
    // and writes the pieces back afterwards.
    bool Download_Rewrites_User_Data() const;
    // The flash pieces that hold the user data of the chip behind that
    // model name, in user piece index order, and whether its firmware
    // download rewrites them; false for a model no known chip reports.
    static bool User_Data_Layout(const std::string& model, std::vector<std::uint32_t>& flashPieces,
                                 bool& downloadRewritesThem);

    // Points record at this handle's camera (its index and protocol), so
    // that a record the caller made before the list was rebuilt leads to
    // the module again.
    void Refresh(_Device_Point_& record) const;

private:
    Module_Handle(_Device_Point_* device, const info_camera_os& information, const info_camera_String& strings);

    _Device_Point_* m_device; // owned: freed with Camera_Device_Point_UnInit
    info_camera_os m_information;
    info_camera_String m_strings;
    Module_Identity m_identity;
    std::string m_model;
};

#endif
