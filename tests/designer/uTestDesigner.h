#pragma once
// uTestDesigner: a designer that answers its dialogs by a function of the test.

#include <functional>
#include <string>

#include "platform/designer/uDesigner.h"
#include "platform/designer/uStringsEditDlg.h"

namespace OrvixModBus {

class TTestDesigner : public TDesigner {
 public:
  void Modified() override { ++ModifiedCalls; }
  TModalResult ShowModal(TStringsEditDlg& dialog) override {
    ++DialogsShown;
    return Answer ? Answer(dialog) : TModalResult::mrCancel;
  }

  std::function<TModalResult(TStringsEditDlg&)> Answer;
  int ModifiedCalls = 0;
  int DialogsShown = 0;
};

}  // namespace OrvixModBus
