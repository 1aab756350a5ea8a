#ifndef KORVANE_EMULATOR_FAULT_PLAN_H
#define KORVANE_EMULATOR_FAULT_PLAN_H

#include "emulator/XuQuery.h"

#include <vector>

namespace korvane::emulator {

// Matches any unit, selector or query code in a FaultRule.
constexpr int kAny = -1;
// A FaultRule count that never runs out.
constexpr int kAlways = -1;

// Queries that match fail with error, count times (kAlways: every time),
// after the first skip matching queries have passed.
struct FaultRule
{
    int unit = kAny;
    int selector = kAny;
    int query = kAny;
    int error = 0;
    int count = 1;
    int skip = 0;
};

// The injected failures of one module, applied in the order added: the
// first rule that matches and has failures left decides.
class FaultPlan
{
public:
    void Add(const FaultRule& rule) { m_rules.push_back(rule); }
    void Clear() { m_rules.clear(); }
    // The errno this query fails with, 0 when it is not made to fail.
    int Next(const XuQuery& query);

private:
    std::vector<FaultRule> m_rules;
};

} // namespace korvane::emulator

#endif
