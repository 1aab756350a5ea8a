#include "support/VirtualDisplay.h"

#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <thread>

#include "support/TestWatchdog.h"

using namespace std::chrono_literals;

namespace korvane::test {

namespace {

// What the X server and xdotool get: without the preload libraries of the
// test program.
const std::map<std::string, std::string> kPlainEnvironment = {{"LD_PRELOAD", ""}, {"UMOCKDEV_DIR", ""}};

} // namespace

VirtualDisplay::VirtualDisplay(const std::string& directory)
    : m_directory(directory),
      m_server({"Xvfb", "-displayfd", "1", "-screen", "0", "1280x1024x24", "-fbdir", directory, "-nolisten", "tcp"},
               kPlainEnvironment)
{
    if (!m_server.waitFor("\n", 10s))
        return;
    const std::string name = ":" + std::to_string(std::atoi(m_server.output().c_str()));
    // Ready once a client is served, not just once the number is out.
    const WaitingFor waiting("X display " + name + " to serve a client");
    for (auto deadline = std::chrono::steady_clock::now() + 5s; std::chrono::steady_clock::now() < deadline;) {
        int status = -1;
        runProgram({"xdotool", "getdisplaygeometry"}, withDisplay(name), status, 5s);
        if (status == 0) {
            m_display = name;
            return;
        }
        std::this_thread::sleep_for(100ms);
    }
}

VirtualDisplay::~VirtualDisplay()
{
    m_server.signal(SIGTERM);
    m_server.finish(5s);
}

std::string VirtualDisplay::xdotool(std::vector<std::string> args, int& status) const
{
    args.insert(args.begin(), "xdotool");
    return runProgram(args, withDisplay(m_display), status, 5s);
}

std::string VirtualDisplay::findWindow(const std::string& title, std::chrono::seconds within) const
{
    const WaitingFor waiting("a window titled " + title);
    for (auto deadline = std::chrono::steady_clock::now() + within; std::chrono::steady_clock::now() < deadline;) {
        int status = -1;
        const std::string found = xdotool({"search", "--name", "^" + title + "$"}, status);
        if (status == 0 && !found.empty())
            return found.substr(0, found.find('\n'));
        std::this_thread::sleep_for(200ms);
    }
    return "";
}

bool VirtualDisplay::pressUntil(const std::string& window, const std::string& key,
                                const std::function<bool()>& done) const
{
    int status = -1;
    xdotool({"windowfocus", window}, status);
    for (int attempt = 0; attempt < 5; ++attempt) {
        xdotool({"key", key}, status);
        if (done())
            return true;
    }
    return false;
}

cv::Mat VirtualDisplay::screenshot() const
{
    std::ifstream in(m_directory + "/Xvfb_screen0", std::ios::binary);
    std::vector<unsigned char> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    if (bytes.size() < 100)
        return cv::Mat();
    // The header is 25 32-bit fields; version 7 tells its byte order.
    const bool big = bytes[7] == 7;
    auto field = [&](int i) {
        const unsigned char* p = bytes.data() + 4 * i;
        return big ? (std::uint32_t(p[0]) << 24 | std::uint32_t(p[1]) << 16 | std::uint32_t(p[2]) << 8 | p[3])
                   : (std::uint32_t(p[3]) << 24 | std::uint32_t(p[2]) << 16 | std::uint32_t(p[1]) << 8 | p[0]);
    };
    const std::uint32_t headerSize = field(0), width = field(4), height = field(5), byteOrder = field(7);
    const std::uint32_t bitsPerPixel = field(11), bytesPerLine = field(12), colours = field(19);
    const std::uint32_t masks[3] = {field(16), field(15), field(14)}; // blue, green, red
    const std::size_t start = headerSize + std::size_t(colours) * 12;
    if (bitsPerPixel != 32 || start + std::size_t(bytesPerLine) * height > bytes.size())
        return cv::Mat();
    cv::Mat image(static_cast<int>(height), static_cast<int>(width), CV_8UC3);
    for (std::uint32_t y = 0; y < height; ++y) {
        for (std::uint32_t x = 0; x < width; ++x) {
            const unsigned char* p = bytes.data() + start + y * bytesPerLine + x * 4;
            const std::uint32_t v = byteOrder == 0 ? (std::uint32_t(p[3]) << 24 | std::uint32_t(p[2]) << 16 |
                                                      std::uint32_t(p[1]) << 8 | p[0])
                                                   : (std::uint32_t(p[0]) << 24 | std::uint32_t(p[1]) << 16 |
                                                      std::uint32_t(p[2]) << 8 | p[3]);
            cv::Vec3b& out = image.at<cv::Vec3b>(static_cast<int>(y), static_cast<int>(x));
            for (int c = 0; c < 3; ++c) {
                std::uint32_t m = masks[c];
                std::uint32_t value = v & m;
                while (m && !(m & 1)) {
                    m >>= 1;
                    value >>= 1;
                }
                out[c] = static_cast<unsigned char>(value);
            }
        }
    }
    return image;
}

std::map<std::string, std::string> VirtualDisplay::withDisplay(const std::string& display)
{
    std::map<std::string, std::string> environment = kPlainEnvironment;
    environment["DISPLAY"] = display;
    return environment;
}

// A program run under the umockdev preload, whose file-call wrappers hold
// a process-wide lock: a process forked while another thread holds it
// blocks for ever in its first file call, with its signals blocked. The
// window toolkit forks when its accessibility bridge asks for a D-Bus
// session bus and none is named (libdbus then starts dbus-launch), so the
// program gets a bus address that fails at once, a runtime directory of its
// own, and the plain platform theme with no desktop to match.
std::map<std::string, std::string> VirtualDisplay::programEnvironment(const std::string& display,
                                                                    const std::string& directory)
{
    const char* asan = std::getenv("ASAN_OPTIONS");
    const std::string runtime = directory + "/runtime";
    std::filesystem::create_directories(runtime);
    std::filesystem::permissions(runtime, std::filesystem::perms::owner_all);
    const std::string noBus = "unix:path=" + directory + "/no-such-bus";
    // The window toolkit keeps allocations until exit that the leak checker
    // would report; the camera code is leak-checked by the other tests.
    return {{"DISPLAY", display},
            {"QT_QPA_PLATFORM", "xcb"},
            {"QT_QPA_PLATFORMTHEME", "generic"},
            {"DBUS_SESSION_BUS_ADDRESS", noBus},
            {"DBUS_SYSTEM_BUS_ADDRESS", noBus},
            {"AT_SPI_BUS_ADDRESS", ""},
            {"NO_AT_BRIDGE", "1"},
            {"XDG_RUNTIME_DIR", runtime},
            {"XDG_CURRENT_DESKTOP", ""},
            {"XDG_SESSION_DESKTOP", ""},
            {"DESKTOP_SESSION", ""},
            {"KDE_FULL_SESSION", ""},
            {"GNOME_DESKTOP_SESSION_ID", ""},
            {"ASAN_OPTIONS", std::string(asan ? asan : "") + ":detect_leaks=0"}};
}

} // namespace korvane::test
