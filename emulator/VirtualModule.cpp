#include "emulator/VirtualModule.h"

#include <algorithm>
#include <cerrno>
#include <stdexcept>
#include <utility>

namespace korvane::emulator {

namespace {

constexpr std::uint32_t kLongestPiece = 0x10000;

std::unique_ptr<ChipModel> Make_Chip(const ModuleConfig& config)
{
    if (config.chip.empty())
        return nullptr;
    const ChipProfile* profile = Find_Chip_Profile(config.chip);
    if (!profile)
        throw std::invalid_argument("unknown chip: " + config.chip);
    const std::string partName = config.flashPart.empty() ? profile->flashPart : config.flashPart;
    const FlashPart* part = Find_Flash_Part(partName);
    if (!part)
        throw std::invalid_argument("unknown flash part: " + partName);
    if (config.pieceLength > kLongestPiece)
        throw std::invalid_argument("piece length above 0x10000: " + std::to_string(config.pieceLength));
    if (config.firmware.size() > part->size)
        throw std::invalid_argument("firmware area contents longer than the " + partName + " flash");
    auto chip = std::make_unique<ChipModel>(*profile, *part);
    if (config.pieceLength != 0)
        chip->Set_Piece_Length(config.pieceLength);
    if (!config.firmware.empty())
        chip->Flash().Load(0, config.firmware);
    chip->Flash().Load(kIdentificationAddress, Identification_Block(config));
    for (const StuckBits& stuck : config.stuckBits)
        chip->Flash().Set_Stuck_Bits(stuck.address, stuck.bits);
    // What boots first depends on the loaded flash.
    chip->Restart();
    return chip;
}

FaultPlan Initial_Faults(const ModuleConfig& config)
{
    FaultPlan plan;
    for (const FaultRule& rule : config.faults)
        plan.Add(rule);
    return plan;
}

bool Is_Set_Request(std::uint8_t query) { return query == kSetCur; }

} // namespace

std::vector<std::uint8_t> Identification_Block(const ModuleConfig& config)
{
    const std::string& text = config.identification.empty() ? config.serial : config.identification;
    std::vector<std::uint8_t> block(kIdentificationLength, 0);
    std::copy_n(text.begin(), std::min(text.size(), block.size()), block.begin());
    return block;
}

VirtualModule::VirtualModule(ModuleConfig config)
    : m_config(std::move(config)),
      m_chip(Make_Chip(m_config)),
      m_faults(Initial_Faults(m_config)),
      m_powerLossIn(m_config.powerLossAfter)
{
}

int VirtualModule::Answer(const std::string& node, const XuQuery& query, std::uint8_t* data)
{
    bool restartRequested = false;
    int error = 0;
    {
        GuardedMutex::Lock lock(m_mutex);
        QueryRecord record{node, query, {}, 0};
        if (Is_Set_Request(query.query))
            record.data.assign(data, data + query.size);
        if (m_powered && m_powerLossIn == 0) {
            m_powered = false;
            m_powerLossIn = -1;
            restartRequested = true;
        } else if (m_powerLossIn > 0) {
            --m_powerLossIn;
        }
        error = m_powered ? m_faults.Next(query) : ENODEV;
        if (error == 0)
            error = m_chip ? m_chip->Answer(query, data) : ENOENT;
        if (error == 0 && !Is_Set_Request(query.query))
            record.data.assign(data, data + query.size);
        record.error = error;
        m_queries.push_back(std::move(record));
        // A chip that restarts answers nothing more until it is back.
        if (m_chip && m_chip->Take_Restart_Request()) {
            m_powered = false;
            restartRequested = true;
        }
    }
    if (restartRequested && m_restartListener)
        m_restartListener();
    return error;
}

void VirtualModule::Fail_Queries(const FaultRule& rule)
{
    GuardedMutex::Lock lock(m_mutex);
    m_faults.Add(rule);
}

void VirtualModule::Clear_Faults()
{
    GuardedMutex::Lock lock(m_mutex);
    m_faults.Clear();
}

std::vector<QueryRecord> VirtualModule::Queries() const
{
    GuardedMutex::Lock lock(m_mutex);
    return m_queries;
}

void VirtualModule::Clear_Queries()
{
    GuardedMutex::Lock lock(m_mutex);
    m_queries.clear();
}

std::uint8_t VirtualModule::Isp(std::uint16_t address)
{
    return With_Chip([address](ChipModel& chip) { return chip.Isp(address); });
}

void VirtualModule::Set_Isp(std::uint16_t address, std::uint8_t value)
{
    With_Chip([address, value](ChipModel& chip) { chip.Set_Isp(address, value); });
}

void VirtualModule::Set_Restart_Listener(std::function<void()> listener)
{
    m_restartListener = std::move(listener);
}

void VirtualModule::Restart_Chip()
{
    GuardedMutex::Lock lock(m_mutex);
    m_powered = true;
    if (m_chip) {
        m_chip->Restart();
        m_boots.push_back(m_chip->Booted());
    }
}

std::vector<Boot_Mode> VirtualModule::Boots() const
{
    GuardedMutex::Lock lock(m_mutex);
    return m_boots;
}

void VirtualModule::Lose_Power_After(int queries)
{
    GuardedMutex::Lock lock(m_mutex);
    m_powerLossIn = queries;
}

void VirtualModule::Renumber(int videoNumber)
{
    GuardedMutex::Lock lock(m_mutex);
    if (m_config.nodes.empty())
        return;
    const int shift = videoNumber - m_config.nodes.front().number;
    for (VideoNodeConfig& node : m_config.nodes)
        node.number += shift;
}

} // namespace korvane::emulator
