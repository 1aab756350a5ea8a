#include "emulator/ModuleOptions.h"

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
