#include "CameraBindings.h"

#include <memory>
#include <string>
#include <sys/stat.h>
#include <vector>

#include <pybind11/numpy.h>
#include <pybind11/stl.h>

#include "Arguments.h"
#include "BoundCamera.h"
#include "ControlModule.h"
#include "FrameIterator.h"
#include "KitMessages.h"
#include "MatArray.h"
#include "camera/KorvaneCamera.h"
#include "camera/ModuleFrameSize.h"
#include "camera/StereoCamera.h"

namespace py = pybind11;
using namespace pybind11::literals;

namespace korvane::python {

namespace {

using Stamp = std::chrono::microseconds;

// The blocking-call runner of a camera made from Python.
BlockingCalls& callsOf(StereoCamera& camera)
{
    auto* calls = dynamic_cast<BlockingCalls*>(&camera);
    if (!calls)
        throw std::logic_error("this camera was not made by the korvane module");
    return *calls;
}

// Runs a frame wait on the camera's blocking calls.
template <typename Result>
Result wait(StereoCamera& camera, std::function<Result()> call)
{
    return callsOf(camera).run<Result>(std::move(call));
}

// The result of a wait for two images and a stamp.
struct FramePair
{
    bool ok = false;
    cv::Mat first;
    cv::Mat second;
    Stamp stamp{0};
};

py::object arrayOrNone(cv::Mat&& mat)
{
    if (mat.empty())
        return py::none();
    return MatArray::toArray(std::move(mat));
}

std::string existingFile(const py::handle& value)
{
    const std::string path = Arguments::path(value);
    struct stat info {};
    if (stat(path.c_str(), &info) != 0) {
        PyErr_SetString(PyExc_FileNotFoundError, ("no such file: " + path).c_str());
        throw py::error_already_set();
    }
    return path;
}

template <typename Camera>
std::unique_ptr<Camera> make(int device)
{
    return std::unique_ptr<Camera>(new BoundCamera<Camera>(device));
}

template <typename Camera>
std::unique_ptr<Camera> makeFromFile(const py::object& config)
{
    return std::unique_ptr<Camera>(new BoundCamera<Camera>(existingFile(config)));
}

py::object rawFrame(StereoCamera& camera)
{
    auto pair = wait<FramePair>(camera, [&camera] {
        FramePair p;
        p.ok = camera.getRawFrame(p.first, p.stamp);
        return p;
    });
    if (!pair.ok)
        return py::none();
    return py::make_tuple(MatArray::toArray(std::move(pair.first)), pair.stamp.count());
}

py::object stereoFrame(StereoCamera& camera)
{
    auto pair = wait<FramePair>(camera, [&camera] {
        FramePair p;
        p.ok = camera.getStereoFrame(p.first, p.second, p.stamp);
        return p;
    });
    if (!pair.ok)
        return py::none();
    return py::make_tuple(MatArray::toArray(std::move(pair.first)), MatArray::toArray(std::move(pair.second)),
                          pair.stamp.count());
}

py::object rectStereoFrame(StereoCamera& camera)
{
    struct Views
    {
        bool ok = false;
        cv::Mat left, right, centre;
        Stamp stamp{0};
    };
    auto views = wait<Views>(camera, [&camera] {
        Views v;
        v.ok = camera.getRectStereoFrame(v.left, v.right, v.centre, v.stamp);
        return v;
    });
    if (!views.ok)
        return py::none();
    return py::make_tuple(MatArray::toArray(std::move(views.left)), MatArray::toArray(std::move(views.right)),
                          MatArray::toArray(std::move(views.centre)), views.stamp.count());
}

py::object perspectiveFrame(StereoCamera& camera)
{
    auto pair = wait<FramePair>(camera, [&camera] {
        FramePair p;
        p.ok = camera.getRectStereoFrame(p.first, p.second);
        return p;
    });
    if (!pair.ok)
        return py::none();
    return py::make_tuple(MatArray::toArray(std::move(pair.first)), MatArray::toArray(std::move(pair.second)));
}

int axisCode(const std::string& axis)
{
    if (axis != "x" && axis != "y" && axis != "z")
        throw py::value_error("axis must be 'x', 'y' or 'z', got " + std::string(py::repr(py::str(axis))));
    return axis[0];
}

py::object disparityFrame(StereoCamera& camera)
{
    auto pair = wait<FramePair>(camera, [&camera] {
        FramePair p;
        p.ok = camera.getDisparityFrame(p.first, p.second, p.stamp);
        return p;
    });
    if (!pair.ok)
        return py::none();
    return py::make_tuple(arrayOrNone(std::move(pair.first)), MatArray::toArray(std::move(pair.second)),
                          pair.stamp.count());
}

py::object colourDepthFrame(StereoCamera& camera)
{
    auto pair = wait<FramePair>(camera, [&camera] {
        FramePair p;
        p.ok = camera.getDepthFrame(p.first, true, p.stamp);
        return p;
    });
    if (!pair.ok)
        return py::none();
    return py::make_tuple(MatArray::toArray(std::move(pair.first)), pair.stamp.count());
}

py::array depthFromDisparity(StereoCamera& camera, const py::array& disparity)
{
    if (disparity.dtype().kind() != 'f' || disparity.itemsize() != 4)
        throw py::type_error("disparity must be a float32 array, got " + disparity.dtype().attr("name").cast<std::string>());
    if (disparity.ndim() != 2)
        throw py::value_error("disparity must be a 2-D array (height, width), got " +
                              std::to_string(disparity.ndim()) + " dimensions");
    cv::Mat input = MatArray::view(disparity, "disparity");
    cv::Mat depth;
    {
        py::gil_scoped_release release;
        camera.getDepthFrame(input, depth);
    }
    return MatArray::toArray(std::move(depth));
}

py::object pointCloud(StereoCamera& camera)
{
    struct Cloud
    {
        bool ok = false;
        std::vector<PCL> points;
    };
    auto cloud = wait<Cloud>(camera, [&camera] {
        Cloud c;
        Stamp stamp{0};
        c.ok = camera.getPointCloud(c.points, stamp);
        return c;
    });
    if (!cloud.ok)
        return py::none();
    const auto n = static_cast<py::ssize_t>(cloud.points.size());
    py::array_t<float> points({n, py::ssize_t{3}});
    py::array_t<std::uint8_t> colours({n, py::ssize_t{3}});
    auto p = points.mutable_unchecked<2>();
    auto c = colours.mutable_unchecked<2>();
    for (py::ssize_t i = 0; i < n; ++i)
        for (py::ssize_t k = 0; k < 3; ++k) {
            p(i, k) = cloud.points[i].position[k];
            c(i, k) = cloud.points[i].color[k];
        }
    return py::make_tuple(points, colours);
}

py::list calibParams(StereoCamera& camera, bool right)
{
    std::vector<cv::Mat> params;
    camera.getCalibParams(params, right);
    py::list arrays;
    for (const cv::Mat& m : params)
        arrays.append(m.empty() ? py::object(py::none()) : py::object(MatArray::toArray(m.clone())));
    return arrays;
}

void setCalibParams(StereoCamera& camera, const std::vector<py::array>& arrays, bool right)
{
    if (arrays.size() < 5)
        throw py::value_error("give five arrays: intrinsic matrix, distortion, xi, rotation, translation");
    std::vector<cv::Mat> params;
    for (const py::array& a : arrays)
        params.push_back(MatArray::view(a, "calibration parameter"));
    if (!camera.setCalibParams(params, right))
        throw py::value_error("the calibration parameters were refused");
}

// A setter that returns false when it refuses: raise ValueError then.
template <typename Value, typename Setter>
auto refusing(Setter setter, const char* name, const char* allowed)
{
    return [setter, name, allowed](StereoCamera& camera, Value value) {
        if (!(camera.*setter)(value))
            throw py::value_error(std::string(name) + ": " + std::string(py::repr(py::cast(value))) +
                                  " refused; " + allowed + ", and not while capture runs");
    };
}

void setRawFrameSize(StereoCamera& camera, const py::object& value)
{
    const cv::Size size = Arguments::size(value, "raw_frame_size");
    if (!korvane::isModuleFrameSize(size))
        throw py::value_error("raw_frame_size must be (1856, 800) or (928, 400), got (" + std::to_string(size.width) +
                              ", " + std::to_string(size.height) + ")");
    camera.setRawFrameSize(size); // false only says that no source is open yet
}

void exitContext(py::object self)
{
    // Through the Python methods, so that a subclass's own are used.
    self.attr("stop_stereo_compute")();
    self.attr("stop_capture")();
}

void check(bool ok, const std::string& failure)
{
    if (!ok)
        throw std::runtime_error(failure);
}

} // namespace

void CameraBindings::define(py::module_& module)
{
    FrameIterator::define(module);
    defineStereoCamera(module);
    defineKorvaneCamera(module);
    module.def(
        "rotation_matrix",
        [](const std::string& axis, float angle) { return MatArray::toArray(getRotationMatrix(axisCode(axis), angle)); },
        "axis"_a, "angle"_a, "3 x 3 float32 rotation about axis 'x', 'y' or 'z' by angle radians (mounting).");
    module.def(
        "translation_matrix",
        [](const std::string& axis, float angle, const std::vector<double>& t) {
            if (t.size() != 3)
                throw py::value_error("t must hold three numbers (x, y, z), got " + std::to_string(t.size()));
            cv::Mat translation(1, 3, CV_64F);
            for (int i = 0; i < 3; ++i)
                translation.at<double>(0, i) = t[i];
            return MatArray::toArray(getTranslationMatrix(axisCode(axis), angle, translation));
        },
        "axis"_a, "angle"_a, "t"_a = std::vector<double>{0.0, 0.0, 0.0},
        "4 x 4 float32 transform: the rotation, then the translation t (mounting).");
}

void CameraBindings::defineStereoCamera(py::module_& module)
{
    py::class_<StereoCamera> camera(module, "StereoCamera", R"doc(
A stereo fisheye camera: settings, capture, rectification, disparity, depth
and point clouds.

Frames are NumPy arrays over the kit's own buffers (no copy): colour images
are H x W x 3 uint8 in B, G, R order, disparity and depth H x W float32.
Time stamps are whole microseconds. Frame getters wait for the next frame
without holding the GIL (Ctrl-C interrupts them) and return None when there
is nothing to wait for (capture or the disparity worker not running).
Used as a context manager, leaving stops the disparity worker, then capture.)doc");

    camera.def(py::init(&make<StereoCamera>), "device"_a = 0, "The camera on /dev/video<device>.")
        .def(py::init(&makeFromFile<StereoCamera>), "config"_a,
             "Settings (device node included) from a configuration file; FileNotFoundError when it is missing.");

    camera.attr("SEMI_GLOBAL_MATCHING") = int(StereoCamera::kSemiGlobalMatching);
    camera.attr("BLOCK_MATCHING") = int(StereoCamera::kBlockMatching);
    camera.attr("LON_LAT_VIEW") = int(StereoCamera::kLonLatView);
    camera.attr("PERSPECTIVE_VIEW") = int(StereoCamera::kPerspectiveView);
    camera.attr("MIN_FIELD_OF_VIEW") = StereoCamera::kMinFieldOfView;
    camera.attr("MAX_FIELD_OF_VIEW") = StereoCamera::kMaxFieldOfView;
    camera.attr("MAX_PAIRS_IN_FLIGHT") = int(StereoCamera::kMaxPairsInFlight);

    camera.def("is_opened", &StereoCamera::isOpened, "Whether a video source is open (and, once started, capture runs).");

    camera
        .def_property(
            "log_level", &StereoCamera::getLogLevel,
            [](StereoCamera& c, int level) {
                if (level < 0)
                    throw py::value_error("log_level must be 0 or more, got " + std::to_string(level));
                c.setLogLevel(level);
            },
            "This object's log level (0 errors only, 1 information, 2 debug).")
        .def_property_readonly("device_node", &StereoCamera::getDeviceNode, "The video device number (/dev/video<n>).")
        .def_property("position_number", &StereoCamera::getPosNumber,
                      [](StereoCamera& c, int n) { c.setPosNumber(n); },
                      "Mounting position: the shared-memory key and stream port offset.")
        .def_property("serial_number", &StereoCamera::getSerialNumber,
                      [](StereoCamera& c, int n) { c.setSerialNumber(n); }, "The module's serial number.")
        .def_property("raw_frame_rate", &StereoCamera::getRawFrameRate,
                      [](StereoCamera& c, int fps) { c.setRawFrameRate(fps); },
                      "Requested frames per second; the measured rate once capture runs.")
        .def_property(
            "raw_frame_size", [](StereoCamera& c) { return Arguments::sizeTuple(c.getRawFrameSize()); },
            &setRawFrameSize, "Side-by-side frame size (width, height): (1856, 800) or (928, 400); else ValueError.")
        .def_property(
            "rect_frame_size", [](StereoCamera& c) { return Arguments::sizeTuple(c.getRectFrameSize()); },
            [](StereoCamera& c, const py::object& v) { c.setRectFrameSize(Arguments::size(v, "rect_frame_size")); },
            "Size (width, height) of each rectified image.")
        .def_property("matching_algorithm", &StereoCamera::getMatchingAlgorithm,
                      refusing<int>(&StereoCamera::setMatchingAlgorithm, "matching_algorithm",
                                    "give SEMI_GLOBAL_MATCHING or BLOCK_MATCHING"),
                      "SEMI_GLOBAL_MATCHING or BLOCK_MATCHING; ValueError for others or while capture runs.")
        .def_property("depth_mode", &StereoCamera::getDepthMode,
                      refusing<int>(&StereoCamera::setDepthMode, "depth_mode", "give LON_LAT_VIEW or PERSPECTIVE_VIEW"),
                      "LON_LAT_VIEW or PERSPECTIVE_VIEW; ValueError for others or while capture runs.")
        .def_property("field_of_view", &StereoCamera::getFieldOfView,
                      refusing<double>(&StereoCamera::setFieldOfView, "field_of_view", "give 60 to 140 degrees"),
                      "Horizontal field of view of the perspective view, degrees (60 to 140; else ValueError).")
        .def_property("pairs_in_flight", &StereoCamera::getPairsInFlight,
                      [](StereoCamera& c, int pairs) {
                          if (!c.setPairsInFlight(pairs))
                              throw py::value_error("pairs_in_flight must be from 1 to " +
                                                    std::to_string(StereoCamera::kMaxPairsInFlight) + ", got " +
                                                    std::to_string(pairs));
                      },
                      "Rectified pairs matched at once (1 to MAX_PAIRS_IN_FLIGHT), from the next start_stereo_compute.")
        .def_property("receiver_network", &StereoCamera::getReceiverNetwork,
                      [](StereoCamera& c, const std::string& prefix) {
                          if (!c.setReceiverNetwork(prefix))
                              throw py::value_error("receiver_network must be three octets, each followed by a dot "
                                                    "(\"192.168.1.\"), got " + std::string(py::repr(py::str(prefix))));
                      },
                      "Network prefix of the stream receiver, e.g. \"192.168.1.\".");

    camera
        .def("load_config",
             [](StereoCamera& c, const py::object& path) {
                 const std::string p = Arguments::path(path);
                 KitMessages::check([&] { return c.loadConfig(p); }, "cannot load the configuration file " + p);
             },
             "path"_a, "Loads settings from a configuration file; RuntimeError with the kit's message when it cannot.")
        .def("save_config",
             [](StereoCamera& c, const py::object& path) {
                 const std::string p = Arguments::path(path);
                 KitMessages::check([&] { return c.saveConfig(p); }, "cannot save the configuration file " + p);
             },
             "path"_a, "Saves the settings; RuntimeError when it cannot.")
        .def("load_calib_params",
             [](StereoCamera& c, const py::object& path) {
                 const std::string p = Arguments::path(path);
                 KitMessages::check([&] { return c.loadCalibParams(p); }, "cannot load the calibration file " + p);
             },
             "path"_a, "Loads a calibration file; RuntimeError with the kit's message when it cannot.")
        .def("save_calib_params",
             [](StereoCamera& c, const py::object& path) {
                 const std::string p = Arguments::path(path);
                 KitMessages::check([&] { return c.saveCalibParams(p); }, "cannot save the calibration file " + p);
             },
             "path"_a, "Saves the calibration; RuntimeError when it cannot.")
        .def("get_calib_params", &calibParams, "right"_a = false,
             "Copies of one eye's intrinsic matrix, distortion, xi, rotation, then the translation and the "
             "rectified camera matrix P (None where empty).")
        .def("set_calib_params", &setCalibParams, "params"_a, "right"_a = false,
             "Sets one eye's intrinsic matrix, distortion, xi, rotation and the translation (2-D float64 arrays).");

    camera
        .def("open_video",
             [](StereoCamera& c, const py::object& source) {
                 const std::string s = py::isinstance<py::str>(source) ? source.cast<std::string>()
                                                                       : Arguments::path(source);
                 KitMessages::check([&] { return c.openVideo(s); }, "cannot open the video source " + s);
             },
             "source"_a,
             "Plays a video file, an image sequence pattern (\"frame_%04d.png\") or a GStreamer pipeline instead "
             "of the device, looping at its frame rate. RuntimeError when it cannot be opened or capture runs.")
        .def("start_capture",
             [](StereoCamera& c, bool transmit, bool shareMemory) {
                 bool ok = false;
                 {
                     py::gil_scoped_release release;
                     ok = c.startCapture(transmit, shareMemory);
                 }
                 check(ok, "capture did not start: no video source is open");
             },
             "transmit"_a = false, "share_memory"_a = false,
             "Starts the capture worker; RuntimeError when no source is open. With share_memory the process "
             "ends if the segment cannot be made, as in the kit.")
        .def("stop_capture",
             [](StereoCamera& c) {
                 py::gil_scoped_release release;
                 c.stopCapture();
             },
             "Stops the capture worker and waits for it; frame waits then return None.")
        .def("start_stereo_compute",
             [](StereoCamera& c) {
                 bool ok = false;
                 {
                     py::gil_scoped_release release;
                     ok = c.startStereoCompute();
                 }
                 check(ok, "the disparity worker did not start");
             },
             "Starts the disparity worker; RuntimeError when it does not start.")
        .def("stop_stereo_compute",
             [](StereoCamera& c) {
                 py::gil_scoped_release release;
                 c.stopStereoCompute();
             },
             "Stops the disparity worker and waits for it.");

    camera
        .def("get_raw_frame", &rawFrame,
             "(side-by-side frame, stamp) of the next raw pair, or None when capture is not running.")
        .def("get_stereo_frame", &stereoFrame,
             "(left, right, stamp) of the next raw pair, masked, or None when capture is not running.")
        .def("get_rect_stereo_frame", &rectStereoFrame,
             "(left, right, centre, stamp): the next pair rectified by depth_mode, with the perspective left "
             "view; None when capture is not running.")
        .def("get_perspective_frame", &perspectiveFrame,
             "(left, right) of the next pair in perspective views whatever depth_mode says (feeding the "
             "stream in transmission modes 2 and 3); None when capture is not running.")
        .def("get_disparity_frame", &disparityFrame,
             "(disparity float32 pixels or None without a matcher, centre view, stamp) of the next result, or "
             "None when the disparity worker is not running.")
        .def("get_depth_frame", &colourDepthFrame,
             "(false-colour depth image, stamp) of the newest disparity at the next raw pair, or None when the "
             "disparity worker is not running or has no disparity yet.")
        .def("depth_from_disparity", &depthFromDisparity, "disparity"_a,
             "Metric depth (float32 metres; 0 outside the depth limits, -1 where there is no disparity) of a "
             "float32 disparity image; TypeError for another dtype, ValueError for another shape.")
        .def("get_point_cloud", &pointCloud,
             "(points (N, 3) float32 metres, colours (N, 3) uint8 B, G, R) of the next disparity, or None when "
             "the disparity worker is not running or the cloud is empty.")
        .def("frames", [](py::object self) { return FrameIterator(std::move(self)); },
             "Iterates (left, right, stamp) over the raw pairs until capture stops.");

    camera.def("__enter__", [](py::object self) { return self; }, "Returns the camera.")
        .def(
            "__exit__", [](py::object self, const py::args&) { exitContext(std::move(self)); return false; },
            "Stops the disparity worker, then capture (through the methods of that name).");
}

void CameraBindings::defineKorvaneCamera(py::module_& module)
{
    py::class_<KorvaneCamera, StereoCamera> camera(module, "KorvaneCamera", R"doc(
The stereo camera bound to a Korvane USB module: loads the factory
calibration from the module's flash when made and offers the module's
maintenance operations (which block, without the GIL, until done).)doc");

    camera.def(py::init(&make<KorvaneCamera>), "device"_a = 0, "The module on /dev/video<device>.")
        .def(py::init(&makeFromFile<KorvaneCamera>), "config"_a,
             "Settings (device node and log level included) from a configuration file.");

    const auto blocking = [](auto call, const char* failure) {
        return [call, failure](KorvaneCamera& c, const py::object& path) {
            const std::string p = Arguments::path(path);
            bool ok = false;
            ControlModule::newGeneration(); // the operation enumerates the modules afresh
            {
                py::gil_scoped_release release;
                ok = (c.*call)(p);
            }
            check(ok, std::string(failure) + " " + p);
        };
    };
    camera
        .def("load_internal_calib_params",
             [](KorvaneCamera& c) {
                 bool ok = false;
                 ControlModule::newGeneration();
                 {
                     py::gil_scoped_release release;
                     ok = c.loadInternalCalibParams();
                 }
                 check(ok, "the module's flash holds no calibration that loads");
             },
             "Loads the calibration from the module's flash; RuntimeError when it cannot.")
        .def("update_firmware", blocking(&KorvaneCamera::updateFirmware, "the firmware update failed with"), "path"_a,
             "Downloads a firmware image to the module; RuntimeError when it fails.")
        .def("update_calib_params_to_flash",
             blocking(&KorvaneCamera::updateCalibParams2Flash, "writing the calibration to flash failed with"),
             "path"_a, "Writes a calibration file into the module's flash; RuntimeError when it fails.")
        .def("firmware_version",
             [](KorvaneCamera& c) {
                 std::string version;
                 bool ok = false;
                 ControlModule::newGeneration();
                 {
                     py::gil_scoped_release release;
                     ok = c.checkFirmwareVersion(version);
                 }
                 check(ok, "the module did not give its identification string");
                 return version;
             },
             "The module's identification string; RuntimeError when it cannot be read.");
}

} // namespace korvane::python
