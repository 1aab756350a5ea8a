#include "emulator/FaultPlan.h"

namespace korvane::emulator {

namespace {

bool Field_Matches(int wanted, int value) { return wanted == kAny || wanted == value; }

bool Rule_Matches(const FaultRule& rule, const XuQuery& query)
{
    return rule.count != 0 && Field_Matches(rule.unit, query.unit) && Field_Matches(rule.selector, query.selector) &&
           Field_Matches(rule.query, query.query);
}

} // namespace

int FaultPlan::Next(const XuQuery& query)
{
    for (FaultRule& rule : m_rules) {
        if (!Rule_Matches(rule, query))
            continue;
        if (rule.skip > 0) {
            --rule.skip;
            continue;
        }
        if (rule.count > 0)
            --rule.count;
        return rule.error;
    }
    return 0;
}

} // namespace korvane::emulator
