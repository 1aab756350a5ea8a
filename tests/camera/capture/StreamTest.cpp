#include <thread>

#include <gtest/gtest.h>

#include <gst/app/gstappsink.h>
#include <gst/gst.h>

#include "CameraTestSupport.h"
#include "CaptureTestSupport.h"
#include "camera/StreamPipeline.h"
#include "support/CaptureStream.h"

using namespace korvane::test;
namespace stream = korvane::stream;
using std::chrono::microseconds;

TEST(StreamPipeline, HardwarePipelineIsTheFixedString)
{
    EXPECT_EQ(stream::pipeline(stream::kHardwareEncoder, stream::hostPart("192.168.1.", 15), stream::portPart(0)),
              "appsrc ! videoconvert ! omxh264enc ! video/x-h264, stream-format=byte-stream ! rtph264pay "
              "! udpsink host=192.168.1.15 port=9200");
}

TEST(StreamPipeline, SoftwarePipelineRepeatsParameterSets)
{
    EXPECT_EQ(stream::pipeline(stream::kSoftwareEncoder, stream::hostPart("127.0.0.", 1), stream::portPart(2)),
              "appsrc ! videoconvert ! video/x-raw,format=I420 ! x264enc tune=zerolatency speed-preset=ultrafast key-int-max=30 ! "
              "video/x-h264, stream-format=byte-stream ! rtph264pay config-interval=-1 ! udpsink "
              "host=127.0.0.1 port=9202");
}

TEST(StreamPipeline, HostAndPortParts)
{
    EXPECT_EQ(stream::hostPart("10.1.2.", 200), "host=10.1.2.200 ");
    EXPECT_EQ(stream::portPart(2), "port=9202");
}

TEST(StreamPipeline, NetworkPrefixIsThreeOctetsEachWithADot)
{
    for (const char* good : {"192.168.1.", "127.0.0.", "0.0.0.", "255.255.255."})
        EXPECT_TRUE(stream::isNetworkPrefix(good)) << good;
    for (const char* bad : {"", "192.168.1", "192.168.1.1", "192.168.1.5.", "256.0.0.", "a.b.c.",
                            "1..2.", "1234.0.0.", " 1.2.3."})
        EXPECT_FALSE(stream::isNetworkPrefix(bad)) << bad;
}

TEST(StreamPipeline, FrameSizeByMode)
{
    const cv::Size raw(1856, 800), rect(640, 480);
    EXPECT_TRUE(stream::frameSizeForMode(-1, raw, rect).empty());
    EXPECT_EQ(stream::frameSizeForMode(0, raw, rect), cv::Size(928, 800));
    EXPECT_EQ(stream::frameSizeForMode(1, raw, rect), raw);
    EXPECT_EQ(stream::frameSizeForMode(2, raw, rect), rect);
    EXPECT_EQ(stream::frameSizeForMode(3, raw, rect), cv::Size(1280, 480));
    EXPECT_EQ(stream::frameSizeForMode(4, raw, rect), cv::Size(1280, 480));
    EXPECT_TRUE(stream::frameSizeForMode(5, raw, rect).empty());
}

TEST(ReceiverNetwork, DefaultSetterAndConfigurationKey)
{
    CaptureProbe camera(kAbsentDevice);
    EXPECT_EQ(camera.getReceiverNetwork(), "192.168.1.");
    EXPECT_FALSE(camera.setReceiverNetwork("10.0.0"));
    EXPECT_EQ(camera.getReceiverNetwork(), "192.168.1.");
    EXPECT_TRUE(camera.setReceiverNetwork("10.0.0."));
    EXPECT_EQ(camera.getReceiverNetwork(), "10.0.0.");

    TempDir dir;
    const std::string file = dir.write("c.yml", yamlFile({yamlMatrix("DeviceNode", 1, 1, {1})}) +
                                                    "ReceiverNetwork: \"127.0.0.\"\n");
    std::string err = stderrOf([&] { ASSERT_TRUE(camera.loadConfig(file)); });
    EXPECT_EQ(err, "");
    EXPECT_EQ(camera.getReceiverNetwork(), "127.0.0.");
    const std::string bad = dir.write("b.yml", yamlFile({yamlMatrix("DeviceNode", 1, 1, {1})}) +
                                                   "ReceiverNetwork: \"127.0.0.1\"\n");
    err = stderrOf([&] { ASSERT_TRUE(camera.loadConfig(bad)); });
    EXPECT_EQ(err, "ReceiverNetwork must be three octets each followed by a dot (default 127.0.0.) \n");
    EXPECT_EQ(camera.getReceiverNetwork(), "127.0.0.");
    // Saving leaves the key out.
    ASSERT_TRUE(camera.saveConfig(dir.file("saved.yml")));
    const auto keys = topLevelKeys(dir.file("saved.yml"));
    EXPECT_EQ(std::count(keys.begin(), keys.end(), "ReceiverNetwork"), 0);
}

namespace {

// A GStreamer receiver on a loopback port that decodes the H.264 stream.
class Receiver
{
public:
    explicit Receiver(int port)
    {
        gst_init(nullptr, nullptr);
        const std::string description =
            "udpsrc address=127.0.0.1 port=" + std::to_string(port) +
            " caps=\"application/x-rtp, media=video, clock-rate=90000, encoding-name=H264, payload=96\" "
            "! rtph264depay ! avdec_h264 ! videoconvert ! video/x-raw,format=BGR "
            "! appsink name=sink sync=false max-buffers=4 drop=true";
        GError* error = nullptr;
        m_pipeline = gst_parse_launch(description.c_str(), &error);
        if (error) {
            g_error_free(error);
            return;
        }
        m_sink = gst_bin_get_by_name(GST_BIN(m_pipeline), "sink");
        gst_element_set_state(m_pipeline, GST_STATE_PLAYING);
    }

    ~Receiver()
    {
        if (m_sink)
            gst_object_unref(m_sink);
        if (m_pipeline) {
            gst_element_set_state(m_pipeline, GST_STATE_NULL);
            gst_object_unref(m_pipeline);
        }
    }

    // Size of the next decoded frame, or an empty size after the time-out.
    cv::Size nextFrameSize(int timeoutMs)
    {
        if (!m_sink)
            return cv::Size();
        GstSample* sample = gst_app_sink_try_pull_sample(GST_APP_SINK(m_sink), timeoutMs * GST_MSECOND);
        if (!sample)
            return cv::Size();
        GstStructure* caps = gst_caps_get_structure(gst_sample_get_caps(sample), 0);
        int width = 0, height = 0;
        gst_structure_get_int(caps, "width", &width);
        gst_structure_get_int(caps, "height", &height);
        gst_sample_unref(sample);
        return cv::Size(width, height);
    }

private:
    GstElement* m_pipeline = nullptr;
    GstElement* m_sink = nullptr;
};

struct StreamCase
{
    int mode;
    int position;
    cv::Size expected;
};

class LoopbackStream : public ::testing::TestWithParam<StreamCase>
{
};

} // namespace

TEST_P(LoopbackStream, ReceiverDecodesFramesOfTheModesSize)
{
    const StreamCase c = GetParam();
    TempDir dir;
    CaptureProbe camera(kAbsentDevice);
    camera.setPosNumber(c.position);
    camera.IpLastSegment = 1;
    camera.m_transmode = c.mode;
    camera.m_transrate = 30.0;
    ASSERT_TRUE(camera.setReceiverNetwork("127.0.0."));
    ASSERT_TRUE(camera.setRawFrameSize(cv::Size(928, 400)));
    ASSERT_TRUE(camera.openVideo(writeTestVideo(dir, cv::Size(928, 400), 30, 30.0)));
    Receiver receiver(9200 + c.position);

    std::atomic<bool> reading{true};
    std::string out;
    {
        CaptureStream capture(1);
        ASSERT_TRUE(camera.startCapture(true, false));
        std::thread reader([&] {
            cv::Mat frame;
            microseconds stamp{0};
            while (reading && camera.getRawFrame(frame, stamp)) {
            }
        });
        const cv::Size size = receiver.nextFrameSize(10000);
        reading = false;
        camera.stopCapture();
        reader.join();
        out = capture.text();
        EXPECT_EQ(size, c.expected);
    }
    const std::string port = std::to_string(9200 + c.position);
    EXPECT_NE(out.find("hostIp+portString:host=127.0.0.1 port=" + port + "\n"), std::string::npos) << out;
    EXPECT_NE(out.find("! udpsink host=127.0.0.1 port=" + port + "\n"), std::string::npos) << out;
    // Without the module's hardware encoder the software one stands in, said once.
    const std::string warning = "\033[1m\033[33m[StereoCamera][WARNING] omxh264enc is not available: "
                                "streaming with the software encoder x264enc\n\033[0m";
    if (stream::elementAvailable(stream::kHardwareEncoder)) {
        EXPECT_EQ(out.find(warning), std::string::npos);
    } else {
        ASSERT_NE(out.find(warning), std::string::npos) << out;
        EXPECT_EQ(out.find(warning, out.find(warning) + 1), std::string::npos);
        EXPECT_NE(out.find("x264enc tune=zerolatency"), std::string::npos);
    }
}

INSTANTIATE_TEST_SUITE_P(Modes, LoopbackStream,
                         ::testing::Values(StreamCase{0, 11, cv::Size(464, 400)},
                                           StreamCase{1, 12, cv::Size(928, 400)}));
