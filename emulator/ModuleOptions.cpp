#include "emulator/ModuleOptions.h"

#include <cerrno>
#include <fstream>
#include <iterator>
#include <limits>
#include <sstream>
#include <stdexcept>

namespace korvane::emulator {

namespace {

unsigned long Number(const std::string& key, const std::string& value, int base)
{
    std::size_t used = 0;
    unsigned long number = 0;
    try {
        number = std::stoul(value, &used, base);
    } catch (const std::exception&) {
        used = 0;
    }
    if (value.empty() || used != value.size())
        throw std::invalid_argument("bad number for " + key + ": " + value);
    return number;
}

int Count(const std::string& key, const std::string& value)
{
    const unsigned long number = Number(key, value, 10);
    if (number > static_cast<unsigned long>(std::numeric_limits<int>::max()))
        throw std::invalid_argument("number too large for " + key + ": " + value);
    return static_cast<int>(number);
}

// "N": the query N (counted from 0) fails; "SS:N": the query N of selector SS (hexadecimal).
FaultRule Fault_Rule(const std::string& value)
{
    FaultRule rule;
    rule.error = EIO;
    const auto colon = value.find(':');
    if (colon != std::string::npos) {
        const unsigned long selector = Number("fail", value.substr(0, colon), 16);
        if (selector > 0xFF)
            throw std::invalid_argument("bad selector for fail: " + value);
        rule.selector = static_cast<int>(selector);
    }
    rule.skip = Count("fail", colon == std::string::npos ? value : value.substr(colon + 1));
    return rule;
}

// "ADDRESS" or "ADDRESS:BITS", both hexadecimal; all bits stuck when none are given.
StuckBits Stuck_Bits(const std::string& value)
{
    const auto colon = value.find(':');
    StuckBits stuck;
    stuck.address = static_cast<std::uint32_t>(Number("stuck", value.substr(0, colon), 16));
    if (colon != std::string::npos) {
        const unsigned long bits = Number("stuck", value.substr(colon + 1), 16);
        if (bits == 0 || bits > 0xFF)
            throw std::invalid_argument("bad bits for stuck: " + value);
        stuck.bits = static_cast<std::uint8_t>(bits);
    }
    return stuck;
}

std::vector<std::uint8_t> File_Bytes(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    if (!file)
        throw std::invalid_argument("cannot read firmware file: " + path);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

void Apply(ModuleConfig& config, bool& nodesGiven, const std::string& key, const std::string& value)
{
    if (key == "video" || key == "meta") {
        if (!nodesGiven)
            config.nodes.clear();
        nodesGiven = true;
        config.nodes.push_back({static_cast<int>(Number(key, value, 10)), key == "meta"});
    } else if (key == "chip") {
        config.chip = value;
    } else if (key == "vid") {
        config.vendorId = static_cast<std::uint16_t>(Number(key, value, 16));
    } else if (key == "pid") {
        config.productId = static_cast<std::uint16_t>(Number(key, value, 16));
    } else if (key == "bcd") {
        config.bcdDevice = value;
    } else if (key == "serial") {
        config.serial = value;
    } else if (key == "manufacturer") {
        config.manufacturer = value;
    } else if (key == "product") {
        config.product = value;
    } else if (key == "bus") {
        config.busnum = static_cast<int>(Number(key, value, 10));
    } else if (key == "dev") {
        config.devnum = static_cast<int>(Number(key, value, 10));
    } else if (key == "flash") {
        config.flashPart = value;
    } else if (key == "piece") {
        config.pieceLength = static_cast<std::uint32_t>(Number(key, value, 10));
        if (config.pieceLength > 0x10000)
            throw std::invalid_argument("piece length above 65536: " + value);
    } else if (key == "firmware") {
        config.firmware = File_Bytes(value);
    } else if (key == "fail") {
        config.faults.push_back(Fault_Rule(value));
    } else if (key == "power-loss") {
        config.powerLossAfter = Count(key, value);
    } else if (key == "stuck") {
        config.stuckBits.push_back(Stuck_Bits(value));
    } else {
        throw std::invalid_argument("unknown module key: " + key);
    }
}

} // namespace

ModuleConfig Parse_Module_Options(const std::string& text)
{
    ModuleConfig config;
    bool nodesGiven = false;
    bool devGiven = false;
    std::istringstream pairs(text);
    std::string pair;
    while (std::getline(pairs, pair, ',')) {
        const auto equals = pair.find('=');
        if (equals == std::string::npos)
            throw std::invalid_argument("expected key=value: " + pair);
        const std::string key = pair.substr(0, equals);
        devGiven = devGiven || key == "dev";
        Apply(config, nodesGiven, key, pair.substr(equals + 1));
    }
    if (!devGiven && !config.nodes.empty())
        config.devnum = config.nodes.front().number + 2;
    return config;
}

} // namespace korvane::emulator
