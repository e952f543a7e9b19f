// The subcommand identity: what a device says that it is.

#include <memory>
#include <nlohmann/json.hpp>

#include "platform/rtl/uNumText.h"
#include "tools/display/uShownText.h"
#include "tools/orvixmb/uAskedRequests.h"
#include "tools/orvixmb/uCommands.h"
#include "tools/orvixmb/uFormSession.h"
#include "tools/orvixmb/uIdentity.h"
#include "tools/orvixmb/uOutput.h"

namespace OrvixModBus {
namespace {

using TJson = nlohmann::ordered_json;

constexpr std::uint8_t kReportServerId = 0x11;

struct TIdentityOptions {
  TSessionOptions Session;
  std::string Client;
  TOutputOptions Output;
};

class TIdentityReader : public TObject {
 public:
  explicit TIdentityReader(TMBClient& client) : fClient(client) {
    fClient.OnReadList.Add(this, &TIdentityReader::Take);
  }
  TIdentityReader(const TIdentityReader&) = delete;
  TIdentityReader& operator=(const TIdentityReader&) = delete;
  ~TIdentityReader() override { fClient.OnReadList.Remove(this, &TIdentityReader::Take); }

  /// The bytes behind the reply's byte count. Exception says why there are none.
  Bytes Read() {
    const TAskedRequests asked(fClient);
    fClient.Read(kReportServerId, 0, 0, this);
    WaitUntil(fClient, [this] { return fClient.CountPendingTransactions() == 0; });
    if (asked.LastFailure().empty()) return fData;
    throw Exception(fClient.Name() + ": " + asked.LastFailure());
  }

 private:
  void Take(TMBClient& /*sender*/, TServerReply /*reply*/, std::uint8_t /*func*/,
            std::uint32_t /*start*/, const Bytes& values, TObject* owner) {
    if (owner == this) fData = values;
  }

  TMBClient& fClient;
  Bytes fData;
};

TTextTable TableOf(const TMBClient& client, const TIdentity& identity, const Bytes& data) {
  const std::string running = !identity.Running ? "" : *identity.Running ? "yes" : "no";
  return {{{"client"}, {"address", EAlign::Right}, {"id"}, {"runs"}, {"text"}, {"raw bytes"}},
          {{client.Name(), IntToStr(client.GetAdres()), HexText(identity.Id), running,
            identity.Text, HexText(data)}}};
}

TJson JsonOf(const TMBClient& client, const TIdentity& identity, const Bytes& data) {
  return {{"client", client.Name()},
          {"adress", client.GetAdres()},
          {"id", identity.Running ? TJson(HexText(identity.Id, "")) : TJson()},
          {"running", identity.Running ? TJson(*identity.Running) : TJson()},
          {"text", identity.Text},
          {"raw", HexText(data, "")}};
}

void RunIdentity(const TIdentityOptions& options, TToolIo& io) {
  TFormSession session(options.Session, io);
  TMBClient& client = session.DeviceClient(options.Client, "identity");
  session.Open(client);
  const Bytes data = TIdentityReader(client).Read();
  const TIdentity identity = IdentityOf(data);
  if (options.Output.Json) return PrintJson(io, JsonOf(client, identity, data));
  io.Out << TableText(TableOf(client, identity, data));
}

}  // namespace

void AddIdentityCommand(CLI::App& app, TToolIo& io) {
  const auto options = std::make_shared<TIdentityOptions>();
  CLI::App& command = AddSubcommand(app,
                                    {.Name = "identity",
                                     .Summary = "Ask a device what it is ($11)",
                                     .Example = "orvixmb identity boiler.form --client Controller"},
                                    [options, &io] { RunIdentity(*options, io); });
  AddSessionOptions(command, options->Session);
  command.add_option("--client", options->Client, "the client of the device")
      ->type_name("NAME")
      ->required();
  AddJsonOption(command, options->Output);
}

}  // namespace OrvixModBus
