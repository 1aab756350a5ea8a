#ifndef KORVANE_TOOLS_MAINTENANCE_CALIBRATIONFILECHECK_H
#define KORVANE_TOOLS_MAINTENANCE_CALIBRATIONFILECHECK_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "camera/CalibrationFormat.h"

namespace korvane::maintenance {

// Whether bytes make a calibration parameter file that the device camera
// loads from its flash block: text the settings parser reads, holding every
// key the calibration loader reads with a value of the form it uses, and no
// longer than the block. Pure checks: no module is touched.
class CalibrationFileCheck
{
public:
    // Size of the calibration block in flash.
    static constexpr std::size_t kBlockSize = CalibrationFormat::kBlockSize;

    // The file at path is a complete calibration file of at most kBlockSize
    // bytes; otherwise false with what is wrong in why.
    static bool checkFile(const std::string& path, std::string& why);
    // A block of kBlockSize bytes holds a complete calibration file followed
    // by zero bytes only; otherwise false with what is wrong in why.
    static bool checkBlock(const std::vector<std::uint8_t>& block, std::string& why);
    // The text (a file's bytes, or a block cut at its first zero byte) is a
    // complete calibration file of at most kBlockSize bytes.
    static bool checkText(const std::string& text, std::string& why);

private:
    // Every key present and well-formed in text that the parser reads safely.
    static bool checkKeys(const std::string& text, std::string& why);
};

} // namespace korvane::maintenance

#endif
