// `orvixmb ports`: whatever ports the machine has.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "ToolRun.h"
#include "tools/orvixmb/uJsonText.h"
#include "tools/orvixmb/uSerialPortsText.h"

namespace OrvixModBus {
namespace {

TEST(PortsCommand, ListsThePortsOfThisMachine) {
  const std::vector<TSerialPortInfo> ports = ListSerialPorts();
  EXPECT_EQ(RunOrvixmb({"ports"}),
            (TToolRun{0, ports.empty() ? "no serial ports\n" : TableText(PortsTable(ports)), ""}));
  EXPECT_EQ(RunOrvixmb({"ports", "--json"}), (TToolRun{0, JsonText(PortsJson(ports)), ""}));
}

TEST(PortsCommand, TakesNothingElse) {
  const TToolRun run = RunOrvixmb({"ports", "all"});
  EXPECT_EQ(run, (TToolRun{2, "", "orvixmb: The following argument was not expected: all\n"}));
}

TEST(PortsCommand, HelpEndsWithAnExample) {
  EXPECT_THAT(RunOrvixmb({"ports", "--help"}).Out,
              testing::EndsWith("Example:\n  orvixmb ports --json\n"));
}

}  // namespace
}  // namespace OrvixModBus
