// Time to write and to read one 4096-byte flash piece through the control
// channel, against virtual modules on an emulated device tree. The process
// runs on one CPU, as emulated queries are several times cheaper there.
// The piece write includes its fixed 10 ms pause after each data transfer.
#include "Extension_Unit_Class/Extension_Unit_Base_Protocol.h"
#include "Extension_Unit_Class/Extunit.h"
#include "emulator/UmockdevPreload.h"
#include "emulator/VirtualTestbed.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sched.h>
#include <unistd.h>

namespace {

using korvane::emulator::Camera_Module;
using korvane::emulator::VirtualTestbed;

// The protocol of the module on /dev/video<number>, its node held open.
class Module_Protocol
{
public:
    explicit Module_Protocol(int number)
        : m_fd(open(("/dev/video" + std::to_string(number)).c_str(), O_RDWR | O_NONBLOCK)),
          m_protocol(m_fd >= 0 ? Get_Extension_Unit(m_fd) : nullptr)
    {
    }
    ~Module_Protocol()
    {
        Delete_Extension_Unit(m_protocol);
        if (m_fd >= 0)
            close(m_fd);
    }
    Module_Protocol(const Module_Protocol&) = delete;
    Module_Protocol& operator=(const Module_Protocol&) = delete;

    Extension_Unit_Base_Protocol* get() const { return m_protocol; }

private:
    int m_fd;
    Extension_Unit_Base_Protocol* m_protocol; // owned
};

const char* const kChips[] = {"2620", "2650"};

Extension_Unit_Base_Protocol* Protocol_For(benchmark::State& state, std::unique_ptr<Module_Protocol>& holder)
{
    holder = std::make_unique<Module_Protocol>(static_cast<int>(state.range(0)));
    if (!holder->get())
        state.SkipWithError("no protocol for the virtual module");
    state.SetLabel(std::string("chip ") + kChips[state.range(0)]);
    return holder->get();
}

void BM_Flash_Piece_Write(benchmark::State& state)
{
    std::unique_ptr<Module_Protocol> holder;
    Extension_Unit_Base_Protocol* protocol = Protocol_For(state, holder);
    std::vector<std::uint8_t> piece(4096, 0x5A);
    for (auto _ : state) {
        if (!protocol || protocol->Write_Flash_Piece(1, piece.data()) != 0) {
            state.SkipWithError("piece write failed");
            break;
        }
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * 4096);
}

void BM_Flash_Piece_Read(benchmark::State& state)
{
    std::unique_ptr<Module_Protocol> holder;
    Extension_Unit_Base_Protocol* protocol = Protocol_For(state, holder);
    std::vector<std::uint8_t> piece(4096);
    for (auto _ : state) {
        if (!protocol || protocol->Read_Flash_Piece(1, piece.data()) != 0) {
            state.SkipWithError("piece read failed");
            break;
        }
        benchmark::DoNotOptimize(piece.data());
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * 4096);
}

BENCHMARK(BM_Flash_Piece_Write)->DenseRange(0, 1)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_Flash_Piece_Read)->DenseRange(0, 1)->Unit(benchmark::kMillisecond)->UseRealTime();

void Pin_To_One_Cpu()
{
    cpu_set_t cpus;
    CPU_ZERO(&cpus);
    CPU_SET(0, &cpus);
    if (sched_setaffinity(0, sizeof cpus, &cpus) != 0)
        std::perror("sched_setaffinity");
}

} // namespace

int main(int argc, char** argv)
{
    korvane::emulator::Ensure_Umockdev_Preload(argv);
    Pin_To_One_Cpu();
    // Made before any other thread starts.
    VirtualTestbed testbed;
    for (int number = 0; number < 2; ++number)
        testbed.Add_Module(Camera_Module(kChips[number], number));
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
