#include "tools/orvixmb/uFormSession.h"

#include <algorithm>
#include <chrono>

#include "platform/loop/uLoop.h"
#include "platform/rtl/uTextFile.h"
#include "tools/orvixmb/uFrameMeaning.h"
#include "uMBForm.h"

namespace OrvixModBus {
namespace {

std::string Listed(const TStringDynArray& names) {
  std::string list;
  for (const std::string& name : names) list += (list.empty() ? "" : ", ") + name;
  return list.empty() ? "none" : list;
}

std::string TextOf(const std::string& path) {
  try {
    return ReadWholeFile(path);
  } catch (const EStreamError& error) {
    throw EUsageError(error.what());
  }
}

void Prepare(TFormFile& form) {
  form.RegisterClasses(ModBusClasses());
  form.SetIgnoreUnknownMethods(true);
}

// No request of this line takes longer, each attempt with its late reply.
std::chrono::milliseconds LongestRequest(const TMBClient& client) {
  constexpr auto kBesides = std::chrono::seconds(10);
  const TMBConnection* const connection = client.Connection();
  const TMBRTUConnection* const line = connection != nullptr ? connection->RTU() : nullptr;
  if (line == nullptr) return kBesides;
  return kBesides +
         2 * (line->MaxRetries() + 2) * std::chrono::milliseconds(line->ReceiveTimeout());
}

}  // namespace

void AddFormOption(CLI::App& command, std::string& form) {
  command.add_option("FORM", form, "the form file")->required();
}

void AddTraceOption(CLI::App& command, bool& trace) {
  command.add_flag("--trace", trace,
                   "print all frames on standard error: time, direction, bytes, meaning");
}

void AddSessionOptions(CLI::App& command, TSessionOptions& options) {
  AddFormOption(command, options.Form);
  command.add_option("--port", options.Port, "the serial port, in place of the form's")
      ->type_name("PATH");
  AddTraceOption(command, options.Trace);
}

std::unique_ptr<TComponent> LoadForm(const std::string& path) {
  const std::string text = TextOf(path);
  TFormFile form;
  Prepare(form);
  return form.ReadLoading(text, path);
}

std::vector<EFormError> MistakesOf(const std::string& path) {
  const std::string text = TextOf(path);
  TFormFile form;
  Prepare(form);
  return form.Check(text, path);
}

void RefuseName(const std::string& form, const std::string& kind, const std::string& name,
                const TStringDynArray& all) {
  throw EUsageError(form + " has no " + kind + " '" + name + "'; it has " + Listed(all));
}

void WaitUntil(const TMBClient& client, const std::function<bool()>& done) {
  while (!done()) {
    const int pending = client.CountPendingTransactions();
    const auto moved = [&] { return done() || client.CountPendingTransactions() != pending; };
    if (TLoop::Current().RunUntil(moved, LongestRequest(client))) continue;
    throw Exception("Client " + client.Name() + " gets no end of its requests");
  }
}

void TraceLine(TModbusConnection& line, TToolIo& io) {
  const auto trace = std::make_shared<TFrameTrace>(std::chrono::steady_clock::now());
  line.OnTrace = [trace, &io](TModbusConnection&, TTraceDirection direction, TByteView frame,
                              std::chrono::steady_clock::time_point time) {
    io.Err << trace->Line(direction, frame, time) << std::endl;
  };
}

TFormSession::TFormSession(const TSessionOptions& options, TToolIo& io)
    : fOptions(options), fIo(io), fRoot(LoadForm(options.Form)) {
  for (TModbusConnection* line : ComponentsOf<TModbusConnection>(*fRoot)) line->SetActive(false);
  TFormFile::FinishLoading(*fRoot);
}

TMBClient& TFormSession::DeviceClient(const std::string& name, const std::string& what) const {
  TMBClient& client = Client(name);
  if (!client.IsEmul()) return client;
  throw EUsageError(FormPath() + ": client " + client.Name() + " is emulated, and has no " + what);
}

TMBClient& TFormSession::ClientOf(const TMBLetter& letter) const {
  if (TMBClient* const client = letter.Client()) return *client;
  throw EUsageError(FormPath() + ": letter " + letter.Name() + " has no client");
}

TModbusConnection* TFormSession::LineOf(const TMBClient& client) {
  const TMBConnection* const connection = client.Connection();
  return connection != nullptr ? connection->RTU() : nullptr;
}

void TFormSession::Open(TMBClient& client) {
  TMBClient* const one[] = {&client};
  Open(one);
}

void TFormSession::Open(std::span<TMBClient* const> clients) {
  std::vector<TModbusConnection*> lines;
  for (const TMBClient* client : clients) {
    if (client->IsEmul()) continue;
    TModbusConnection* const line = LineOf(*client);
    if (line == nullptr) {
      throw EUsageError(FormPath() + ": client " + client->Name() + " has no serial line");
    }
    if (std::ranges::find(lines, line) == lines.end()) lines.push_back(line);
  }
  if (!fOptions.Port.empty() && lines.size() != 1) {
    TStringDynArray names;
    for (const TModbusConnection* line : lines) names.push_back(line->Name());
    throw EUsageError("--port stands for one line, and what is asked for uses " + Listed(names));
  }
  for (TModbusConnection* line : lines) {
    if (!fOptions.Port.empty()) line->SetPortProperty(fOptions.Port);
    if (fOptions.Trace) TraceLine(*line, fIo);
    line->SetActive(true);
  }
}

std::string TFormSession::SourceOf(const TMBClient& client) {
  const TModbusConnection* const line = LineOf(client);
  return client.IsEmul() || line == nullptr ? "emulated" : line->Port();
}

}  // namespace OrvixModBus
