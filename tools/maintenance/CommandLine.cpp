#include "CommandLine.h"

#include "NumberArgument.h"

namespace korvane::maintenance {

namespace {

constexpr std::uint64_t kLargestDeviceNumber = 0xFFFF;

} // namespace

bool CommandLine::parse(const std::vector<std::string>& words, const Options& options, std::string& error)
{
    bool optionsEnded = false;
    for (std::size_t index = 0; index < words.size(); ++index) {
        const std::string& word = words[index];
        if (optionsEnded || word.size() < 2 || word[0] != '-') {
            m_arguments.push_back(word);
        } else if (word == "--") {
            optionsEnded = true;
        } else if (!takeOption(word, words, index, options, error)) {
            return false;
        }
    }
    return true;
}

std::string CommandLine::value(const std::string& name, const std::string& fallback) const
{
    const auto found = m_values.find(name);
    return found == m_values.end() ? fallback : found->second;
}

bool CommandLine::takeOption(const std::string& word, const std::vector<std::string>& words, std::size_t& index,
                             const Options& options, std::string& error)
{
    if (word == "--help" || word == "-h") {
        m_help = true;
        return true;
    }
    const std::size_t equals = word.find('=');
    const std::string name = word.substr(0, equals);
    const bool valued = name == "--device" || options.valued.count(name) != 0;
    if (!valued) {
        if (options.flags.count(word) == 0) {
            error = "unknown option " + word;
            return false;
        }
        m_flags.insert(word);
        return true;
    }
    std::string text;
    if (equals != std::string::npos) {
        text = word.substr(equals + 1);
    } else if (index + 1 < words.size()) {
        text = words[++index];
    } else {
        error = "option " + name + " needs a value";
        return false;
    }
    if (name == "--device") {
        std::uint64_t number = 0;
        if (!parseNumber(text, kLargestDeviceNumber, number)) {
            error = "bad device number '" + text + "'";
            return false;
        }
        m_device = static_cast<int>(number);
        return true;
    }
    m_values[name] = text;
    return true;
}

} // namespace korvane::maintenance
