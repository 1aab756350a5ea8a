#ifndef KORVANE_CAMERA_STREAMPIPELINE_H
#define KORVANE_CAMERA_STREAMPIPELINE_H

// The GStreamer pipeline that streams frames as H.264 over RTP/UDP.

#include <string>

#include <opencv2/core.hpp>

namespace korvane::stream {

// The module's hardware encoder element.
constexpr const char* kHardwareEncoder = "omxh264enc";
// Software encoder used where the hardware one is missing: 4:2:0 input so
// that every H.264 decoder takes the stream, low latency, a key frame every
// 30 frames, and (in the payloader) SPS/PPS repeated with every key frame so
// that a receiver can join late.
constexpr const char* kSoftwareEncoder =
    "video/x-raw,format=I420 ! x264enc tune=zerolatency speed-preset=ultrafast key-int-max=30";
constexpr int kPortBase = 9200;

// "host=<prefix><lastOctet> "
std::string hostPart(const std::string& networkPrefix, int lastOctet);
// "port=<9200 + position>"
std::string portPart(int posNumber);
// The whole pipeline with the given encoder element.
std::string pipeline(const std::string& encoder, const std::string& host, const std::string& port);

// True for three decimal octets (0 to 255), each followed by a dot.
bool isNetworkPrefix(const std::string& prefix);

// True when GStreamer has an element factory of that name.
bool elementAvailable(const char* name);

// What the stream writer sends, the configuration's "Transmode".
enum TransmissionMode : int
{
    kSendNothing = -1,
    kRawRight = 0,           // the raw right image
    kRawPair = 1,            // the raw pair side by side
    kRectifiedRight = 2,     // the rectified right image
    kRectifiedPair = 3,      // the rectified pair side by side
    kCentreAndDepth = 4,     // the perspective left view beside the depth image
    kLastTransmissionMode = kCentreAndDepth
};

// Size of the frames the writer takes for a transmission mode; empty for a
// mode that sends nothing (kSendNothing and anything outside the modes).
cv::Size frameSizeForMode(int mode, cv::Size rawFrame, cv::Size rectified);

} // namespace korvane::stream

#endif
