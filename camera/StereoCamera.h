#ifndef KORVANE_CAMERA_STEREOCAMERA_H
#define KORVANE_CAMERA_STEREOCAMERA_H

#include <atomic>
#include <cstdint>
#include <chrono>
#include <condition_variable>
#include <optional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <opencv2/core.hpp>
#include <opencv2/videoio.hpp>

#include "CalibrationFormat.h"
#include "DisparityMatcher.h"
#include "FisheyeRectify.h"
#include "FramePublisher.h"
#include "StereoRectifier.h"
#include "GuardedMutex.h"
#include "StreamSink.h"
#include "SystemLog.h"
#include "camera/KorvaneCameraExport.h"


// One coloured point of a point cloud: position in metres in the left eye's
// camera frame, then the colour of its source pixel (B, G, R).
struct PCL
{
    cv::Vec3f position;
    cv::Vec3b color;
};

// One stereo fisheye camera exposed by the operating system as a numbered
// video device: settings, capture, configuration and calibration files,
// rectification, disparity, depth and point clouds.
//
// Every public operation is virtual so that a derived device camera can
// stand in for it. Fields are protected so that derived classes reach them.
class KORVANE_CAMERA_EXPORT StereoCamera
{
public:
    // A raw pair (left, right) or a disparity result (centre image,
    // disparity) with the time stamp of the raw frame it came from.
    using TimeFrame = korvane::FramePublisher::Frame;

    // The camera on device node 0.
    StereoCamera();
    // The camera on the given device node.
    explicit StereoCamera(int deviceNode);
    // Settings (device node included) from a configuration file.
    explicit StereoCamera(std::string fileName);

    // Does not stop or join the workers: call stopStereoCompute() and
    // stopCapture() first.
    virtual ~StereoCamera();

    StereoCamera(const StereoCamera&) = delete;
    StereoCamera& operator=(const StereoCamera&) = delete;

    virtual bool isOpened();
    // Stores the level in this object only (the log keeps the level it was
    // given at construction); returns level >= 0, storing negatives too.
    virtual bool setLogLevel(int level);
    virtual bool setPosNumber(int posNumber);
    virtual bool setSerialNumber(int serialNumber);
    // Stores fps; returns true, and applies it, only when a capture object exists.
    virtual bool setRawFrameRate(int fps);
    // Accepts only 1856x800 and 928x400; see the source for the exact steps.
    virtual bool setRawFrameSize(cv::Size size);
    // Stores the size unchecked; returns size.width != 0.
    virtual bool setRectFrameSize(cv::Size size);
    // params: intrinsic matrix, distortion, xi, rotation (of the selected
    // eye), translation; deep copies are stored, entries past 4 ignored.
    virtual bool setCalibParams(std::vector<cv::Mat> params, bool right);
    virtual int getLogLevel();
    virtual int getDeviceNode();
    virtual int getPosNumber();
    virtual int getSerialNumber();
    // After capture has started this is the measured rate.
    virtual float getRawFrameRate();
    virtual cv::Size getRawFrameSize();
    virtual bool getRawFrame(cv::Mat& frame, std::chrono::microseconds& timeStamp);
    virtual bool getStereoFrame(cv::Mat& left, cv::Mat& right, std::chrono::microseconds& timeStamp);
    // False-colour depth image (8-bit BGR, flipped about both axes) of the
    // newest disparity, taken when the capture worker publishes its next raw
    // pair; stamp is that pair's time stamp. The colour flag is overwritten
    // with true: the image is always in colour. False when the disparity
    // worker is not running or has no disparity.
    virtual bool getDepthFrame(cv::Mat& depth, bool colour, std::chrono::microseconds& stamp);
    // Metric depth from a disparity image (CV_32FC1, pixels): depth is
    // CV_32FC1 in metres, 0 outside the depth limits, -1 where the disparity
    // is not above the minimum depth value. False for another input type.
    virtual bool getDepthFrame(cv::Mat& disparity, cv::Mat& depth);
    virtual bool getPointCloud(std::vector<cv::Vec3f>& points, std::chrono::microseconds& stamp);
    virtual bool getPointCloud(std::vector<PCL>& points, std::chrono::microseconds& stamp);
    // Appends shallow copies (sharing pixel data) of the selected eye's
    // intrinsic matrix, distortion, xi, rotation, then the translation and
    // the rectified camera matrix P.
    virtual bool getCalibParams(std::vector<cv::Mat>& params, bool right);
    virtual bool getRectStereoFrame(cv::Mat& left, cv::Mat& right, cv::Mat& centre);
    virtual bool getRectStereoFrame(cv::Mat& left, cv::Mat& right);
    virtual bool getRectStereoFrame(cv::Mat& left, cv::Mat& right, cv::Mat& centre,
                                    std::chrono::microseconds& stamp);
    virtual bool loadConfig(std::string fileName);
    virtual bool loadCalibParams(std::string fileName);
    // Saves the serial number under "FrameRate" and leaves out hFov,
    // Transrate, Transmode and Depthmode; a saved file thus loads back with
    // the serial number as its frame rate.
    virtual bool saveConfig(std::string fileName);
    virtual bool saveCalibParams(std::string fileName);
    virtual bool startCapture(bool transmit, bool shareMemory);
    virtual bool startStereoCompute();
    virtual bool stopStereoCompute();
    virtual bool stopCapture();

    // Replaces the capture object with one on a video file, an image
    // sequence pattern ("frame_%04d.png") or a GStreamer pipeline (a source
    // holding " ! "), and sets the opened flag from it. Files and sequences
    // play in a loop, paced at their frame rate (30 when they have none), so
    // the capture worker runs as on a camera. Refused while capture runs.
    bool openVideo(const std::string& source);

    // Network prefix of the stream receiver: three octets, each followed by
    // a dot ("192.168.1." by default; the last octet is IpLastSegment).
    // Returns false, changing nothing, for anything else.
    bool setReceiverNetwork(const std::string& prefix);
    std::string getReceiverNetwork() const;

    // Waits for the disparity worker's next result and copies it: the
    // disparity (CV_32FC1, pixels; empty without a matcher), the perspective
    // left view it was matched from, and that raw pair's time stamp. False
    // when the disparity worker is not running.
    bool getDisparityFrame(cv::Mat& disparity, cv::Mat& centre, std::chrono::microseconds& stamp);

    // How many rectified pairs the disparity worker matches at once, each on
    // a thread of its own; results are still published one by one in raw
    // time-stamp order. 1 to kMaxPairsInFlight; false, changing nothing, for
    // anything else. Takes effect at the next startStereoCompute. Default:
    // the machine's cores, at most 2. The configuration key "PairsInFlight"
    // sets it too; saveConfig does not write it.
    static constexpr int kMaxPairsInFlight = 8;
    bool setPairsInFlight(int pairs);
    int getPairsInFlight() const;

    // The matching and view settings that otherwise only a configuration
    // file sets ("Algorithm", "Depthmode", "hFov"), for a camera made on a
    // device node. Each setter returns false, changing nothing, while
    // capture runs (the workers read them) or for a value outside its range.
    // The matcher is made at startStereoCompute, the views at startCapture.
    static constexpr int kSemiGlobalMatching = korvane::DisparityMatcher::kSemiGlobal;
    static constexpr int kBlockMatching = korvane::DisparityMatcher::kBlock;
    static constexpr int kLonLatView = korvane::StereoRectifier::kLonLat;
    static constexpr int kPerspectiveView = korvane::StereoRectifier::kPerspective;
    static constexpr double kMinFieldOfView = 60.0;  // degrees
    static constexpr double kMaxFieldOfView = 140.0; // degrees
    bool setMatchingAlgorithm(int algorithm);
    int getMatchingAlgorithm() const;
    bool setDepthMode(int mode);
    int getDepthMode() const;
    // Horizontal field of view of the perspective view, in degrees.
    bool setFieldOfView(double degrees);
    double getFieldOfView() const;
    // The size of each rectified image.
    cv::Size getRectFrameSize() const;

protected:
    int m_fisheyeRadius = 0;          // radius of the fisheye mask circle, raw width / 4
    int Algorithm = 0;                // 0 semi-global matching, 1 block matching
    int LogLevel = 1;
    int DeviceNode = 0;
    int m_posNumber = 0;              // mounting position: shared-memory key and port
    int m_serialNumber = 0;
    int Threshold = 120;              // radius of the disc the point cloud samples
    std::atomic<float> m_frameRate{30.0f}; // requested, then measured, frame rate
    int IpLastSegment = 15;           // last octet of the stream receiver's address
    std::atomic<bool> m_shareMemory{false};    // publish the left image in shared memory
    std::atomic<bool> m_transmit{false};       // publish frames through the video writer
    std::atomic<bool> m_opened{false};         // device open; also the capture run flag
    std::atomic<bool> m_computeRunning{false}; // disparity worker run flag
    float m_maxDepth = 1.0f;          // metres
    float m_minDepth = 0.05f;         // metres
    int m_transmode = -1;             // what the writer sends: a korvane::stream::TransmissionMode
    double m_transrate = 0.0;         // frame rate handed to the writer
    double hFov = 90.0;               // perspective view field of view, degrees
    double m_defaultFov = 90.0;       // what hFov falls back to
    double m_lonLatDivisor = 222.0;   // divisor of the longitude-latitude view angle
    double m_panoramicAngle = 180.0;  // longitude-latitude view angle, degrees
    int Depthmode = 1;                // 1 longitude-latitude, 2 perspective
    korvane::stream::StreamSink m_streamSink; // the network stream writer
    cv::Size FrameSize KORVANE_GUARDED_BY(m_settingsMutex); // raw side-by-side frame size
    cv::Size RectifyFrameSize;        // size of each rectified image
    // The newest raw pair, published by the capture worker; open while the
    // worker runs.
    korvane::FramePublisher m_rawFrames;
    // The newest centre image and disparity, published by the disparity
    // lanes in raw time-stamp order; open while the worker runs.
    korvane::FramePublisher m_disparityFrames;

    // Calibration (loaded) and the rectified camera matrix P (built).
    cv::Mat LeftXi;
    cv::Mat LeftRotation;
    cv::Mat LeftIntrinsicMatrix;
    cv::Mat LeftDistortionCoefficients;
    cv::Mat RightXi;
    cv::Mat RightRotation;
    cv::Mat RightIntrinsicMatrix;
    cv::Mat RightDistortionCoefficients;
    cv::Mat Translation;
    cv::Mat m_rectifyCameraMatrix;
    // The rectification maps of both views and eyes, and the remaps.
    korvane::StereoRectifier m_rectifier;

    std::unique_ptr<SystemLog> m_log;
    std::string m_logName = "StereoCamera";
    // Lock order: m_fetchMutex, then m_rawFrames', then the stream sink's;
    // m_turnMutex, then m_disparityFrames'. m_settingsMutex is a leaf:
    // nothing else is taken while it is held.
    std::unique_ptr<cv::VideoCapture> m_capture;
    std::unique_ptr<std::thread> m_captureThread;
    std::unique_ptr<std::thread> m_computeThread;

    mutable korvane::GuardedMutex m_settingsMutex; // guards FrameSize and m_receiverNetwork
    std::string m_receiverNetwork KORVANE_GUARDED_BY(m_settingsMutex) = "192.168.1.";
    // Tickets handed to fetched pairs that are matched: written under
    // m_fetchMutex, atomic so that it can be watched without that lock.
    std::atomic<std::uint64_t> m_fetchTicket{0};

    // At capture start: scales the intrinsics to the raw width (scale =
    // width / 1856) and builds the rectification maps when the rectified
    // size and the calibration are there.
    void prepareRectification(float scale);

    // Publishes a raw pair as the newest, as the capture worker does with
    // each frame: stamped now, all waiters woken.
    void publishRawPair(cv::Mat&& left, cv::Mat&& right);

    // Whether a free matching lane takes the newest raw pair (time stamp
    // `newest`) at once instead of waiting for the next one: no lane has
    // taken it (the last taken has stamp `lastTaken`) and it is younger than
    // half of the raw frame period `period` at time `now`.
    static bool takesNewestRawPair(std::chrono::microseconds newest, std::chrono::microseconds lastTaken,
                                   std::chrono::microseconds period, std::chrono::microseconds now);

    // The calibration matrix kept under a key of kind Matrix; null for any
    // other item.
    cv::Mat* calibrationMatrix(korvane::CalibrationFormat::Item item);

private:
    // The shared-memory segment of a running capture worker.
    struct SharedSegment
    {
        int id = -1;
        void* address = nullptr;
        cv::Size imageSize;              // the left image it holds
        bool sizeMismatchLogged = false;
    };
    // Empty reads in a row, and whether the worker said that frames stopped.
    struct EmptyReadWatch
    {
        static constexpr int kBeforeBackOff = 100;
        static constexpr int kBackOffMicroseconds = 5000;
        int emptyInARow = 0;
        bool reported = false;
    };

    void captureWorker(float scale);
    void captureFrames(SharedSegment& segment);
    SharedSegment createSharedSegment(float scale);
    void fitSharedSegment(SharedSegment& segment);
    void shareLeftImage(SharedSegment& segment, const cv::Mat& left);
    void noteEmptyRead(EmptyReadWatch& watch);
    void noteFrameRead(EmptyReadWatch& watch);
    void openStreamWriter();
    void loadReceiverNetwork(const cv::FileNode& node);
    // Runs `pairs` matching lanes (this thread and pairs - 1 more) until the
    // run flag is cleared, then joins them.
    void computeWorker(int pairs);
    // One lane: fetch a pair (in turn), match it, publish it in turn. With
    // `takeWaiting` a lane first looks for a raw pair no lane has taken yet
    // (see takesNewestRawPair) before it waits for the next.
    void computeLane(int algorithm, bool takeWaiting);
    // One lane's round: fetch, match, publish in turn. ticket holds the turn
    // taken until it is published.
    void matchOneRound(korvane::DisparityMatcher& matcher, bool takeWaiting,
                       std::optional<std::uint64_t>& ticket);
    // Passes a taken turn on without publishing.
    void passTurn(std::uint64_t ticket);
    // The newest raw pair, rectified, when takesNewestRawPair allows it.
    bool takeNewestRawPair(cv::Mat& left, cv::Mat& right, cv::Mat& centre, std::chrono::microseconds& stamp)
        KORVANE_REQUIRES(m_fetchMutex);
    void loadPairsInFlight(const cv::FileNode& node);
    static int defaultPairsInFlight();
    // Depth in metres of disparity d at column j, in the current geometry.
    float depthOf(float d, int column, float baseline) const;
    // Waits for the next disparity; copies it, its centre image and its time
    // stamp, and computes its metric depth. False when the worker ended.
    bool copyNewestDisparity(cv::Mat& image, cv::Mat& disparity, cv::Mat& depth,
                             std::chrono::microseconds& stamp);
    // Waits for the raw pair after the current one and calls read on it;
    // false when capture ended first, or, on a disparity lane, when its
    // worker was told to stop.
    template <typename Read>
    bool readNextRawPair(Read&& read)
    {
        const bool lane = t_laneOf == this;
        return m_rawFrames.readNext(std::forward<Read>(read), [this, lane] { return lane && !m_computeRunning; });
    }
    bool createLog();
    // FrameSize, read under its lock without the virtual getter.
    cv::Size rawFrameSize() const KORVANE_EXCLUDES(m_settingsMutex);
    bool openCapture(bool fromFile);
    // The int field kept under a key of kind WholeNumber; null for any other
    // item.
    int* calibrationNumber(korvane::CalibrationFormat::Item item);
    // What the calibration file holds under a key.
    cv::Mat calibrationValue(const korvane::CalibrationFormat::Entry& entry);

    std::atomic<int> m_pairsInFlight{defaultPairsInFlight()}; // lanes of the next disparity worker
    // Guards m_fetchTicket's increments and m_lastFetchedStamp; held across
    // each lane's fetch, so that ticket order is raw time-stamp order.
    korvane::GuardedMutex m_fetchMutex;
    // Stamp of the pair a lane took last.
    std::chrono::microseconds m_lastFetchedStamp KORVANE_GUARDED_BY(m_fetchMutex){0};
    korvane::GuardedMutex m_turnMutex; // guards m_publishTicket
    // Ticket whose turn it is to publish.
    std::uint64_t m_publishTicket KORVANE_GUARDED_BY(m_turnMutex) = 0;
    std::condition_variable m_turnCondition; // m_publishTicket moved on
    std::atomic<bool> m_computeFailed{false}; // a lane stopped the worker on an exception (said once)
    // The camera whose disparity lane runs on this thread, if any.
    static thread_local const StereoCamera* t_laneOf;
};

// Colour of a depth value between min and max for the false-colour depth
// image, channels B, G, R: blue near, green in the middle, red far. Each
// channel keeps only the low byte of its rounded value, so the nearest and
// farthest ends wrap (510 becomes 254); that is the depth image's look.
KORVANE_CAMERA_EXPORT cv::Vec3b getclolor(float min, float max, float value);
// Single channels of an alternative colour ramp (not used by the kit).
KORVANE_CAMERA_EXPORT uchar getBlueSegVal(float min, float max, float value);
KORVANE_CAMERA_EXPORT uchar getGreenSegVal(float min, float max, float value);
KORVANE_CAMERA_EXPORT uchar getRedSegVal(float min, float max, float value);

#endif
