#ifndef KORVANE_TOOLS_MAINTENANCE_COMMANDLINE_H
#define KORVANE_TOOLS_MAINTENANCE_COMMANDLINE_H

#include <map>
#include <set>
#include <string>
#include <vector>

namespace korvane::maintenance {

// The words after a command's name: --device N and --help, which every
// command takes, the options the command declares, and its arguments.
// Options may stand anywhere among the arguments, as "--name value" or
// "--name=value"; "--" ends the options.
class CommandLine
{
public:
    struct Options
    {
        std::set<std::string> flags;  // e.g. "--force"
        std::set<std::string> valued; // e.g. "--wait", each followed by its value
    };

    // False, with the reason in error, for an unknown option, a missing
    // value or a --device that is not a number.
    bool parse(const std::vector<std::string>& words, const Options& options, std::string& error);

    bool help() const { return m_help; }
    int device() const { return m_device; }
    bool flag(const std::string& name) const { return m_flags.count(name) != 0; }
    // The value given for a valued option, or fallback.
    std::string value(const std::string& name, const std::string& fallback) const;
    const std::vector<std::string>& arguments() const { return m_arguments; }

private:
    bool takeOption(const std::string& word, const std::vector<std::string>& words, std::size_t& index,
                    const Options& options, std::string& error);

    bool m_help = false;
    int m_device = 0;
    std::set<std::string> m_flags;
    std::map<std::string, std::string> m_values;
    std::vector<std::string> m_arguments;
};

} // namespace korvane::maintenance

#endif
