#include "tools/simulator/uSimulatedTable.h"

#include <gtest/gtest.h>

#include <vector>

namespace OrvixModBus {
namespace {

TEST(TSimulatedTable, OnlyCellsThatWereSetAreThere) {
  TSimulatedTable table;
  table.Set(254, {1, 2, 3});  // across the border of two pages
  EXPECT_TRUE(table.Has(254, 3));
  EXPECT_FALSE(table.Has(253, 1));
  EXPECT_FALSE(table.Has(254, 4));
  EXPECT_TRUE(table.Has(0, 0));
  EXPECT_EQ(table.Get(255), 2U);
  EXPECT_EQ(table.Get(256), 3U);
  EXPECT_EQ(table.Get(257), 0U);
}

TEST(TSimulatedTable, SettingAgainChangesTheValue) {
  TSimulatedTable table;
  table.Set(1, {7, 8});
  table.Set(1, {9});
  EXPECT_EQ(table.Get(1), 9U);
  EXPECT_EQ(table.Get(2), 8U);
}

TEST(TSimulatedTable, FormulaKnowsItsPlaceAndTheTime) {
  TSimulatedTable table;
  table.SetFormula(100, 5, [](std::uint32_t index, double seconds) {
    return index * 10 + static_cast<std::uint32_t>(seconds);
  });
  EXPECT_EQ(table.Get(100, 3), 3U);
  EXPECT_EQ(table.Get(104, 3), 43U);
  EXPECT_TRUE(table.Has(100, 5));
  EXPECT_FALSE(table.Has(100, 6));
  EXPECT_FALSE(table.Has(99, 1));
}

TEST(TSimulatedTable, NegativeValueIsItsTwosComplement) {
  TSimulatedTable table;
  table.SetFormula(0, 1, [](std::uint32_t, double) { return -2; });
  EXPECT_EQ(table.Get(0), 0xFFFFFFFEU);
}

TEST(TSimulatedTable, ComputedCellsHideStoredOnesAndCantBeWritten) {
  TSimulatedTable table;
  table.Set(0, {1, 1, 1});
  table.SetFormula(1, 1, [](std::uint32_t, double) { return 5U; });
  EXPECT_EQ(table.Get(1), 5U);
  EXPECT_TRUE(table.CanWrite(0, 1));
  EXPECT_FALSE(table.CanWrite(0, 2));
  EXPECT_FALSE(table.CanWrite(2, 2));
}

TEST(TSimulatedTable, TheLastFormulaCounts) {
  TSimulatedTable table;
  table.SetFormula(0, 2, [](std::uint32_t, double) { return 5U; });
  table.SetFormula(1, 1, [](std::uint32_t, double) { return 6U; });
  EXPECT_EQ(table.Get(0), 5U);
  EXPECT_EQ(table.Get(1), 6U);
}

TEST(TSimulatedTable, WhatANewFormulaLeavesOfAnOldOneKeepsItsPlaces) {
  const auto from = [](std::uint32_t first) {
    return [=](std::uint32_t index, double) { return first + index; };
  };
  TSimulatedTable table;
  table.SetFormula(10, 10, from(100));
  table.SetFormula(30, 10, from(200));
  table.SetFormula(13, 2, from(300));   // within one
  table.SetFormula(18, 14, from(400));  // the end of one, a gap, the begin of one
  table.SetFormula(35, 1, from(500));
  table.SetFormula(34, 3, from(600));  // over all of one
  table.SetFormula(36, 0, from(700));
  std::vector<std::uint32_t> values;
  for (std::uint32_t address = 9; address < 41; ++address) values.push_back(table.Get(address));
  EXPECT_EQ(values,
            (std::vector<std::uint32_t>{0,   100, 101, 102, 300, 301, 105, 106, 107, 400, 401,
                                        402, 403, 404, 405, 406, 407, 408, 409, 410, 411, 412,
                                        413, 202, 203, 600, 601, 602, 207, 208, 209, 0}));
  EXPECT_TRUE(table.Has(10, 30));
  EXPECT_FALSE(table.Has(9, 2));
  EXPECT_FALSE(table.Has(39, 2));
}

TEST(TSimulatedTable, LastAddressOfAllIsUsable) {
  TSimulatedTable table;
  table.Set(0xFFFFFFFF, {4});
  table.SetFormula(0xFFFFFFFE, 1, [](std::uint32_t, double) { return 3U; });
  EXPECT_EQ(table.Get(0xFFFFFFFF), 4U);
  EXPECT_EQ(table.Get(0xFFFFFFFE), 3U);
  EXPECT_FALSE(table.Has(0xFFFFFFFE, 3));
}

}  // namespace
}  // namespace OrvixModBus
