// orvixmb: the command-line tool.

#include <cstdio>
#include <iostream>

#include "tools/display/uTerminal.h"
#include "tools/orvixmb/uTool.h"

int main(int argc, char** argv) {
  using namespace OrvixModBus;
  TToolIo io{.In = std::cin,
             .Out = std::cout,
             .Err = std::cerr,
             .OutIsTerminal = IsTerminal(stdout),
             .ErrIsTerminal = IsTerminal(stderr),
             .Colour = WantsColour(),
             .Height = [] { return TerminalHeight(stdout); }};
  return RunTool({argv + 1, argv + argc}, io);
}
