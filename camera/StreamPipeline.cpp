#include "StreamPipeline.h"

#include <cctype>

#include <gst/gst.h>

namespace korvane::stream {

std::string hostPart(const std::string& networkPrefix, int lastOctet)
{
    return "host=" + networkPrefix + std::to_string(lastOctet) + " ";
}

std::string portPart(int posNumber) { return "port=" + std::to_string(posNumber + kPortBase); }

std::string pipeline(const std::string& encoder, const std::string& host, const std::string& port)
{
    const bool software = encoder != kHardwareEncoder;
    return "appsrc ! videoconvert ! " + encoder +
           " ! video/x-h264, stream-format=byte-stream ! rtph264pay " +
           (software ? "config-interval=-1 " : "") + "! udpsink " + host + port;
}

bool isNetworkPrefix(const std::string& prefix)
{
    size_t pos = 0;
    for (int octet = 0; octet < 3; ++octet) {
        size_t digits = 0;
        int value = 0;
        while (pos < prefix.size() && std::isdigit(static_cast<unsigned char>(prefix[pos])) && digits < 3) {
            value = value * 10 + (prefix[pos] - '0');
            ++pos;
            ++digits;
        }
        if (digits == 0 || value > 255 || pos >= prefix.size() || prefix[pos] != '.')
            return false;
        ++pos;
    }
    return pos == prefix.size();
}

bool elementAvailable(const char* name)
{
    if (!gst_init_check(nullptr, nullptr, nullptr))
        return false;
    GstElementFactory* factory = gst_element_factory_find(name);
    if (!factory)
        return false;
    gst_object_unref(factory);
    return true;
}

cv::Size frameSizeForMode(int mode, cv::Size rawFrame, cv::Size rectified)
{
    switch (mode) {
    case kRawRight:
        return cv::Size(rawFrame.width / 2, rawFrame.height);
    case kRawPair:
        return rawFrame;
    case kRectifiedRight:
        return rectified;
    case kRectifiedPair:
    case kCentreAndDepth:
        return cv::Size(2 * rectified.width, rectified.height);
    default:
        return cv::Size();
    }
}

} // namespace korvane::stream
