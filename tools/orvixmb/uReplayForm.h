#pragma once
// uReplayForm: hands the replies of a replay to the letters of a form.

#include <string>
#include <vector>

#include "platform/modbus/uRecordedQueue.h"
#include "tools/orvixmb/uFormSession.h"
#include "tools/orvixmb/uRegisterRows.h"
#include "tools/orvixmb/uReplay.h"

namespace OrvixModBus {

/// The clients of the form ask a line without a port, which answers what the recording has.
class TReplayForm {
 public:
  /// form: the path of its file; as TFormSession.
  TReplayForm(const std::string& form, TToolIo& io);
  TReplayForm(const TReplayForm&) = delete;
  TReplayForm& operator=(const TReplayForm&) = delete;
  ~TReplayForm();

  /// The registers that the reply updates, of all letters whose client has the server's address.
  std::vector<TRegisterRow> Take(const TReplayEvent& event);

 private:
  void Answer(TMBLetter& letter, const TReplayEvent& event);

  TRecordedQueue* fQueue;  // belongs to the line
  TMBRTUConnection fLine;
  TMBConnection fConnection;
  TFormSession fSession;
  std::vector<TRegisterRow> fRows;
};

}  // namespace OrvixModBus
