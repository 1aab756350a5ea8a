#ifndef KORVANE_EMULATOR_VIRTUAL_MODULE_H
#define KORVANE_EMULATOR_VIRTUAL_MODULE_H

#include "camera/GuardedMutex.h"
#include "emulator/ChipModel.h"
#include "emulator/FaultPlan.h"
#include "emulator/ModuleConfig.h"
#include "emulator/XuQuery.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace korvane::emulator {

// Where the identification block lives in the module's flash, and its size.
constexpr std::uint32_t kIdentificationAddress = 0xDE00;
constexpr std::size_t kIdentificationLength = 16;

// The identification block a module's flash is made with.
std::vector<std::uint8_t> Identification_Block(const ModuleConfig& config);

// The state of one virtual module, shared between the testbed's handler
// thread (which answers queries) and the test (which sets it up and looks
// at the traffic).
class VirtualModule
{
public:
    // Throws std::invalid_argument for an unknown chip or flash part, a
    // piece length above 0x10000 or firmware contents longer than the flash.
    explicit VirtualModule(ModuleConfig config);

    const ModuleConfig& Config() const { return m_config; }
    bool Has_Chip() const { return m_chip != nullptr; }

    // Answers one extension-unit query that arrived at a node and logs it;
    // 0 or the errno the query fails with.
    int Answer(const std::string& node, const XuQuery& query, std::uint8_t* data);

    void Fail_Queries(const FaultRule& rule);
    void Clear_Faults();
    // Every query answered so far, failed ones included, in order.
    std::vector<QueryRecord> Queries() const;
    void Clear_Queries();

    // Runs an action on the chip (which must exist) under the module's lock.
    template <typename Action>
    auto With_Chip(Action&& action)
    {
        GuardedMutex::Lock lock(m_mutex);
        return action(*m_chip);
    }
    std::uint8_t Isp(std::uint16_t address);
    void Set_Isp(std::uint16_t address, std::uint8_t value);

    // Called on the handler thread after the host asked the chip to restart
    // (or to change its mode), and after a power loss: the module leaves the bus.
    void Set_Restart_Listener(std::function<void()> listener);
    // Power-on state again, as after a restart; the flash decides what boots.
    void Restart_Chip();
    // What the chip booted at each restart since it was made, in order.
    std::vector<Boot_Mode> Boots() const;

    // The power fails at the query after the next `queries` ones: that query
    // and every later one fail with ENODEV and are not carried out, and the
    // module leaves the bus; it comes back like a restarted one, with
    // whatever its flash then holds. Negative: no power loss.
    void Lose_Power_After(int queries);

    // Moves the module's video nodes to start at that number (the module must be off the bus).
    void Renumber(int videoNumber);

private:
    // Not behind m_mutex: Config() hands out a reference. Written only by
    // Renumber, while the module is off the bus and no node of it answers;
    // only read otherwise.
    ModuleConfig m_config;
    mutable GuardedMutex m_mutex; // guards m_chip's state, m_faults, m_queries, m_powered, m_powerLossIn, m_boots
    std::unique_ptr<ChipModel> m_chip KORVANE_PT_GUARDED_BY(m_mutex); // set once, at construction
    FaultPlan m_faults KORVANE_GUARDED_BY(m_mutex);
    std::vector<QueryRecord> m_queries KORVANE_GUARDED_BY(m_mutex);
    // False from a restart request or power loss until the chip restarts.
    bool m_powered KORVANE_GUARDED_BY(m_mutex) = true;
    int m_powerLossIn KORVANE_GUARDED_BY(m_mutex); // queries left before the power fails; negative: never
    std::vector<Boot_Mode> m_boots KORVANE_GUARDED_BY(m_mutex);
    std::function<void()> m_restartListener; // set before the module is plugged in
};

} // namespace korvane::emulator

#endif
