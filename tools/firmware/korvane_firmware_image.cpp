// Writes a test firmware image of a chosen form:
//   korvane-firmware-image FORM [--length BYTES] [--seed N] -o FILE
//   korvane-firmware-image --list

#include "Firmware_Image_Generator.h"
#include "ProgramVersion.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

using namespace korvane::firmware;

void Print_Usage(FILE* out)
{
    std::fprintf(out, "usage: korvane-firmware-image FORM [--length BYTES] [--seed N] -o FILE\n"
                      "       korvane-firmware-image --list\n"
                      "Writes a test firmware image (it runs on no chip) for exercising the updater.\n");
}

void List_Forms()
{
    for (const Firmware_Image_Form& form : Firmware_Image_Forms())
        std::printf("%-18s %7u bytes  %s\n", form.name, form.defaultLength, form.description);
}

bool Parse_Number(const char* text, std::uint32_t& value)
{
    char* end = nullptr;
    const unsigned long parsed = std::strtoul(text, &end, 0);
    if (!*text || *end || parsed > 0xFFFFFFFFul)
        return false;
    value = static_cast<std::uint32_t>(parsed);
    return true;
}

} // namespace

int main(int argc, char** argv)
{
    if (const std::optional<int> status = versionIfAsked(argc, argv, "korvane-firmware-image"))
        return *status;
    const Firmware_Image_Form* form = nullptr;
    std::uint32_t length = 0;
    std::uint32_t seed = 1;
    const char* output = nullptr;
    for (int i = 1; i < argc; ++i) {
        const std::string argument = argv[i];
        const bool hasValue = i + 1 < argc;
        if (argument == "--list") {
            List_Forms();
            return 0;
        } else if (argument == "--help") {
            Print_Usage(stdout);
            return 0;
        } else if (argument == "--length" && hasValue) {
            if (!Parse_Number(argv[++i], length) || length == 0) {
                std::fprintf(stderr, "korvane-firmware-image: bad length: %s\n", argv[i]);
                return 2;
            }
        } else if (argument == "--seed" && hasValue) {
            if (!Parse_Number(argv[++i], seed)) {
                std::fprintf(stderr, "korvane-firmware-image: bad seed: %s\n", argv[i]);
                return 2;
            }
        } else if (argument == "-o" && hasValue) {
            output = argv[++i];
        } else if (!form && argument[0] != '-') {
            form = Find_Firmware_Image_Form(argument);
            if (!form) {
                std::fprintf(stderr, "korvane-firmware-image: unknown form: %s (see --list)\n", argv[i]);
                return 2;
            }
        } else {
            Print_Usage(stderr);
            return 2;
        }
    }
    if (!form || !output) {
        Print_Usage(stderr);
        return 2;
    }
    const std::vector<std::uint8_t> image =
        Make_Firmware_Image(form->kind, length ? length : form->defaultLength, seed);
    FILE* file = std::fopen(output, "wb");
    if (!file) {
        std::fprintf(stderr, "korvane-firmware-image: cannot write %s: %s\n", output, std::strerror(errno));
        return 1;
    }
    const bool written = std::fwrite(image.data(), 1, image.size(), file) == image.size();
    if (std::fclose(file) != 0 || !written) {
        std::fprintf(stderr, "korvane-firmware-image: cannot write %s\n", output);
        return 1;
    }
    return 0;
}
