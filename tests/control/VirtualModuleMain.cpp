#include "emulator/VirtualModuleTest.h"

int main(int argc, char** argv) { return korvane::emulator::Run_Virtual_Module_Tests(argc, argv); }
