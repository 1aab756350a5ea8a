#ifndef KORVANE_CAMERA_KORVANECAMERA_H
#define KORVANE_CAMERA_KORVANECAMERA_H

#include <memory>
#include <string>

#include <opencv2/core.hpp>

#include "CalibrationFormat.h"
#include "StereoCamera.h"
#include "SystemLog.h"
#include "camera/KorvaneCameraExport.h"

// The stereo camera bound to a Korvane USB module: a StereoCamera that loads
// the factory calibration from the module's serial flash when it is made,
// defaults to the module's 1856 x 800 side-by-side frames at 30 fps, and
// offers the module's maintenance operations.
//
// Construction never fails outright: when the flash holds no usable
// calibration the device log says so and the caller can still load a
// calibration file from disk with loadCalibParams().
class KORVANE_CAMERA_EXPORT KorvaneCamera : public StereoCamera
{
public:
    // The module on video device 0.
    KorvaneCamera();
    // The module on /dev/video<deviceNode>.
    explicit KorvaneCamera(int deviceNode);
    // Settings (device node and log level included) from a configuration file.
    explicit KorvaneCamera(std::string configFile);

    // Releases the control channel's camera list. Like the base destructor,
    // it does not stop the workers: call stopCapture() first.
    ~KorvaneCamera() override;

    // Copies the calibration block from the module's flash into a temporary
    // file "calib.XXXXXX" in the working directory, loads it with
    // loadCalibParams() and removes the file again, whatever happened.
    bool loadInternalCalibParams();

    // Maintenance of the module on getDeviceNode(): see cameraSpecailOprations.
    bool updateFirmware(std::string path);
    bool updateCalibParams2Flash(std::string path);
    // Fills version with the module's identification string.
    bool checkFirmwareVersion(std::string& version);

private:
    void prepareDevice(int logLevel);
    // Logs one line naming what is wrong when the block read from flash is
    // not a calibration file followed by zero bytes.
    void reportBlock(const std::string& block, bool loaded);
    // What keeps the text of a block that did not load from being a
    // calibration file.
    std::string loadProblem();

    std::string m_deviceLogName = "KorvaneCameraSDK";
    std::unique_ptr<SystemLog> m_deviceLog; // may be null when it could not be made
};

// Maintenance operation codes of cameraSpecailOprations.
enum KorvaneMaintenance : int
{
    kFlashToFile = 0,       // path in: the file to create from the calibration block
    kReservedOperation = 1, // does nothing
    kFirmwareUpdate = 2,    // path in: the firmware image
    kCalibrationToFlash = 3, // path in: the calibration file (at most korvane::CalibrationFormat::kBlockSize bytes)
    kIdentification = 4,    // path out: "bcdDevice-bcdDevice-vid-serial"
};

// Performs one maintenance operation on the module whose video node is
// /dev/video<deviceNode>, through the control channel. Messages go to
// standard output. Returns 0 when no module is attached or a file cannot be
// opened (or a calibration file is too long for the block), 1 otherwise;
// whether a download or a flash write worked is printed ("done!" or
// "failed!"), not returned. Every camera handle is released before it
// returns.
KORVANE_CAMERA_EXPORT int cameraSpecailOprations(int deviceNode, std::string& path, int op);

// Mounting helpers. axis is a character code: 'x', 'y' or 'z'; angle in
// radians (computed in single precision).

// 3 x 3 single-precision rotation about the axis; an empty matrix for any
// other axis code.
KORVANE_CAMERA_EXPORT cv::Mat getRotationMatrix(int axis, float angle);

// 4 x 4 single-precision homogeneous transform: the rotation above, then the
// translation t = (t0, t1, t2) read from the first three elements of t
// (a 1 x 3 matrix of doubles; zeros when t is empty). An empty matrix for any
// other axis code, and when t holds fewer than three numbers.
KORVANE_CAMERA_EXPORT cv::Mat getTranslationMatrix(int axis, float angle, cv::Mat t);

#endif
