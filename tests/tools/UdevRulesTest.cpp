#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "emulator/ModuleUsbIds.h"
#include "support/ChildProcess.h"

using namespace korvane::test;

namespace {

struct RuleKey
{
    std::string key;
    std::string attribute;
    std::string op;
    std::string value;
};

using Rule = std::vector<RuleKey>;

const std::set<std::string> kMatchKeys = {"ACTION", "SUBSYSTEM", "SUBSYSTEMS", "KERNEL", "KERNELS",
                                          "DRIVER", "DRIVERS", "ATTR", "ATTRS", "ENV", "TAG"};
const std::set<std::string> kAssignKeys = {"TAG", "GROUP", "MODE", "OWNER", "SYMLINK", "ENV", "RUN"};
const std::set<std::string> kKeysWithAttribute = {"ATTR", "ATTRS", "ENV"};

bool isMatch(const std::string& op) { return op == "==" || op == "!="; }

// One rule line as udev reads it: KEY[{attribute}]OP"value" pairs separated
// by commas, at least one match and one assignment; false, with why.
bool parseRule(const std::string& line, Rule& rule, std::string& why)
{
    static const std::regex pair(R"re(^([A-Z_]+)(\{([A-Za-z0-9_]+)\})?(==|!=|\+=|-=|:=|=)"([^"]*)"$)re");
    std::stringstream parts(line);
    bool matches = false;
    bool assigns = false;
    for (std::string part; std::getline(parts, part, ',');) {
        part.erase(0, part.find_first_not_of(' '));
        std::smatch m;
        if (!std::regex_match(part, m, pair)) {
            why = "not KEY==\"value\" or KEY=\"value\": '" + part + "'";
            return false;
        }
        RuleKey key{m[1], m[3], m[4], m[5]};
        const bool match = isMatch(key.op);
        if (!(match ? kMatchKeys : kAssignKeys).count(key.key)) {
            why = key.key + " does not take " + key.op;
            return false;
        }
        if (kKeysWithAttribute.count(key.key) != (key.attribute.empty() ? 0u : 1u)) {
            why = key.key + (key.attribute.empty() ? " needs {attribute}" : " takes no {attribute}");
            return false;
        }
        (match ? matches : assigns) = true;
        rule.push_back(key);
    }
    if (!matches || !assigns) {
        why = "a rule needs a match and an assignment";
        return false;
    }
    return true;
}

std::vector<std::string> ruleLines(const std::string& path)
{
    std::ifstream file(path);
    std::vector<std::string> lines;
    for (std::string line; std::getline(file, line);)
        if (!line.empty() && line[0] != '#')
            lines.push_back(line);
    return lines;
}

bool has(const Rule& rule, const std::string& key, const std::string& attribute, const std::string& op,
         const std::string& value)
{
    for (const RuleKey& k : rule)
        if (k.key == key && k.attribute == attribute && k.op == op && k.value == value)
            return true;
    return false;
}

std::vector<std::string> moduleIds()
{
    std::vector<std::string> ids;
    std::stringstream list(KORVANE_MODULE_USB_IDS_TEXT);
    for (std::string id; std::getline(list, id, '|');)
        ids.push_back(id);
    return ids;
}

std::string hex4(unsigned value)
{
    char text[8];
    std::snprintf(text, sizeof text, "%04x", value);
    return text;
}

} // namespace

TEST(UdevRules, EveryModuleIdGivesItsVideoNodesToTheUserAndThePlugdevGroup)
{
    const std::vector<std::string> lines = ruleLines(KORVANE_UDEV_RULES);
    const std::vector<std::string> ids = moduleIds();
    ASSERT_FALSE(ids.empty());
    ASSERT_EQ(lines.size(), ids.size());
    for (size_t i = 0; i < ids.size(); ++i) {
        Rule rule;
        std::string why;
        ASSERT_TRUE(parseRule(lines[i], rule, why)) << why << "\n" << lines[i];
        EXPECT_TRUE(has(rule, "SUBSYSTEM", "", "==", "video4linux")) << lines[i];
        EXPECT_TRUE(has(rule, "ATTRS", "idVendor", "==", ids[i].substr(0, 4))) << lines[i];
        EXPECT_TRUE(has(rule, "ATTRS", "idProduct", "==", ids[i].substr(5, 4))) << lines[i];
        EXPECT_TRUE(has(rule, "TAG", "", "+=", "uaccess")) << lines[i];
        EXPECT_TRUE(has(rule, "GROUP", "", "=", "plugdev")) << lines[i];
        EXPECT_TRUE(has(rule, "MODE", "", "=", "0660")) << lines[i];
    }
}

// Where the installed udev can check a rules file itself, it agrees.
TEST(UdevRules, UdevAcceptsTheFileWhereItCanVerifyOne)
{
    int status = -1;
    runProgram({"udevadm", "verify", "--help"}, {}, status, std::chrono::seconds(10), StandardError::Collected);
    if (status == 0) {
        const std::string out = runProgram({"udevadm", "verify", KORVANE_UDEV_RULES}, {}, status,
                                           std::chrono::seconds(10), StandardError::Collected);
        EXPECT_EQ(status, 0) << out;
    }
    // Otherwise (systemd before 254, as in Debian 12) the syntax check above stands alone.
    Rule rule;
    std::string why;
    EXPECT_TRUE(parseRule(ruleLines(KORVANE_UDEV_RULES).at(0), rule, why)) << why;
}

TEST(UdevRules, TheVirtualModulePresentsTheFirstModuleId)
{
    EXPECT_EQ(hex4(korvane::emulator::kModuleVendorId) + ":" + hex4(korvane::emulator::kModuleProductId),
              moduleIds().at(0));
}

TEST(UdevRules, TheSyntaxCheckRefusesMalformedRules)
{
    for (const std::string bad :
         {"SUBSYSTEM==\"video4linux\" TAG+=\"uaccess\"", "SUBSYSTEM==\"video4linux\", TAG+=\"uaccess",
          "SUBSYSTEM==\"video4linux\", GROUP==\"plugdev\"", "ATTRS==\"1bcf\", MODE=\"0660\"",
          "SUBSYSTEM==\"video4linux\"", "MODE=\"0660\"", "SUBSYSTEM{x}==\"video4linux\", MODE=\"0660\"",
          "subsystem==\"video4linux\", MODE=\"0660\""}) {
        Rule rule;
        std::string why;
        EXPECT_FALSE(parseRule(bad, rule, why)) << bad;
        EXPECT_FALSE(why.empty()) << bad;
    }
}
