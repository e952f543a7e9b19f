#pragma once
// TestRows: tables of cases whose rows carry the name of the situation that they show.

#include <gtest/gtest.h>

#include <string>

namespace OrvixModBus {

/// Names a case after its row, whose first member `name` is letters and digits.
struct TRowName {
  template <class TRow>
  std::string operator()(const testing::TestParamInfo<TRow>& info) const {
    return info.param.name;
  }
};

}  // namespace OrvixModBus
