#ifndef KORVANE_EMULATOR_SYNTHETIC_SYNTHETICSETWRITER_H
#define KORVANE_EMULATOR_SYNTHETIC_SYNTHETICSETWRITER_H

#include <functional>
#include <string>

#include <opencv2/core.hpp>

#include "camera/ModuleFrameSize.h"

namespace korvane::synthetic {

// Writes the files a user needs to run the kit on the synthetic module, in
// one directory:
//   calibration.yml             calibration parameters (loadCalibParams)
//   config.yml                  camera settings (loadConfig): raw and
//                               rectified size, 30 fps, hFov, Depthmode 2
//   frames/frame_0000.png ...   side-by-side raw frames, lossless; the
//                               pattern frames/frame_%04d.png opens as video
//   depth/depth_0000.tiff ...   ground-truth depth of each frame in the left
//                               eye's perspective view, 32-bit float metres
//   manifest.yml                what was written, with the baseline
class SyntheticSetWriter
{
public:
    struct Options
    {
        cv::Size rawSize = kFullModuleFrame;
        cv::Size rectifiedSize{640, 480};
        double hFovDegrees = 90.0;
        int frameCount = 60;
    };

    explicit SyntheticSetWriter(const Options& options);

    // Called after each frame with the number of frames written so far.
    void onProgress(std::function<void(int)> progress) { m_progress = std::move(progress); }

    // Creates the directory if needed. On failure `error` says what failed.
    bool write(const std::string& directory, std::string& error) const;

private:
    bool writeConfig(const std::string& path) const;
    bool writeManifest(const std::string& path, double baselineMetres) const;

    Options m_options;
    std::function<void(int)> m_progress;
};

} // namespace korvane::synthetic

#endif
