#include "CalibrationFileCheck.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>

#include <unistd.h>

#include <opencv2/core.hpp>

#include "camera/MatrixFileValues.h"
#include "camera/StorageText.h"

namespace korvane::maintenance {

namespace {

using Entry = CalibrationFormat::Entry;

// Processor time the trial parse of a text of at most one block may use.
constexpr int kTrialParseMilliseconds = 2000;

std::string shapeText(const cv::Mat& m)
{
    return std::to_string(m.rows) + " x " + std::to_string(m.cols);
}

bool checkValue(const Entry& entry, const cv::Mat& value, std::string& why)
{
    if (!entry.fits(value)) {
        why = std::string("key ") + entry.key + " holds a matrix of " + shapeText(value) + ", which has the wrong shape";
        return false;
    }
    int number = 0;
    if (entry.kind == CalibrationFormat::Kind::WholeNumber && !elementToInt(value, 0, number)) {
        why = std::string("key ") + entry.key + " is not a whole number";
        return false;
    }
    return true;
}

bool checkNode(const cv::FileStorage& storage, const Entry& entry, std::string& why)
{
    cv::Mat value;
    std::string reason;
    switch (readMatrixNode(storage[entry.key], value, reason)) {
    case NodeStatus::Absent:
        why = std::string("key ") + entry.key + " is missing";
        return false;
    case NodeStatus::Malformed:
        why = std::string("key ") + entry.key + " is malformed: " + reason;
        return false;
    case NodeStatus::Present:
        break;
    }
    return checkValue(entry, value, why);
}

// Writes text to a fresh file under $TMPDIR (or /tmp); its path, or empty.
std::string writeScratchFile(const std::string& text)
{
    const char* directory = std::getenv("TMPDIR");
    std::string path = std::string(directory && *directory ? directory : "/tmp") + "/calibcheck.XXXXXX";
    const int fd = mkstemp(path.data());
    if (fd < 0)
        return {};
    const bool written = write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    close(fd);
    if (!written) {
        unlink(path.c_str());
        return {};
    }
    return path;
}

// The settings parser reads text without crashing or hanging (it is tried in
// a child process first).
bool parsesSafely(const std::string& text, std::string& why)
{
    if (classifyStorageBytes(text) == StorageText::Refused) {
        why = "it is not a text parameter file (it holds bytes no such file holds)";
        return false;
    }
    const std::string scratch = writeScratchFile(text);
    if (scratch.empty()) {
        why = "no scratch file could be made to check it in";
        return false;
    }
    const bool safe = trialParseSucceeds(scratch, kTrialParseMilliseconds);
    unlink(scratch.c_str());
    if (!safe)
        why = "the settings parser cannot read it";
    return safe;
}

} // namespace

bool CalibrationFileCheck::checkFile(const std::string& path, std::string& why)
{
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        why = "cannot read " + path;
        return false;
    }
    std::string text;
    char chunk[1024];
    while (file.read(chunk, sizeof chunk) || file.gcount() > 0) {
        text.append(chunk, static_cast<std::size_t>(file.gcount()));
        if (text.size() > kBlockSize)
            break;
    }
    if (file.bad()) {
        why = "cannot read " + path;
        return false;
    }
    return checkText(text, why);
}

bool CalibrationFileCheck::checkBlock(const std::vector<std::uint8_t>& block, std::string& why)
{
    if (block.size() != kBlockSize) {
        why = "the block is " + std::to_string(block.size()) + " bytes, not " + std::to_string(kBlockSize);
        return false;
    }
    if (std::all_of(block.begin(), block.end(), [](std::uint8_t b) { return b == 0xFF; })) {
        why = "the block is erased (every byte is 0xFF)";
        return false;
    }
    const auto end = std::find(block.begin(), block.end(), std::uint8_t{0});
    const auto stray = std::find_if(end, block.end(), [](std::uint8_t b) { return b != 0; });
    if (stray != block.end()) {
        why = "the block has non-zero bytes after the file's end, at offset " +
              std::to_string(std::distance(block.begin(), stray));
        return false;
    }
    return checkText(std::string(block.begin(), end), why);
}

bool CalibrationFileCheck::checkText(const std::string& text, std::string& why)
{
    if (text.size() > kBlockSize) {
        why = "it is longer than the " + std::to_string(kBlockSize) + "-byte calibration block";
        return false;
    }
    if (text.empty()) {
        why = "it is empty";
        return false;
    }
    return parsesSafely(text, why) && checkKeys(text, why);
}

bool CalibrationFileCheck::checkKeys(const std::string& text, std::string& why)
{
    try {
        cv::FileStorage storage(text, cv::FileStorage::READ | cv::FileStorage::MEMORY);
        if (!storage.isOpened()) {
            why = "it does not load as a parameter file";
            return false;
        }
        for (const Entry* entry : CalibrationFormat::readOrder())
            if (!checkNode(storage, *entry, why))
                return false;
        return true;
    } catch (const std::exception& error) {
        why = std::string("it does not load as a parameter file: ") + error.what();
        return false;
    }
}

} // namespace korvane::maintenance
