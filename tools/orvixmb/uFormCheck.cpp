#include "tools/orvixmb/uFormCheck.h"

#include <cstdint>
#include <map>
#include <utility>

#include "platform/rtl/uFormat.h"
#include "tools/orvixmb/uFormCheck_Parts.h"
#include "uMBLogCustomFunctions.h"
#include "uMBOscilCustomFunctions.h"

namespace OrvixModBus {
namespace {

// Why nothing goes over a connection; nil when something does.
const char* WhySilent(const TMBConnection& connection) {
  switch (connection.ConnectionType()) {
    case TConnectionType::mbRtu:
      return connection.RTU() == nullptr ? "there is no serial line, so nothing is sent" : nullptr;
    case TConnectionType::mbTCP:
      return "nothing is ever sent over mbTCP";
    case TConnectionType::mbEmul:
      return nullptr;
  }
  return nullptr;
}

bool IsOwnConnection(const TMBConnection& connection) {
  return dynamic_cast<const TMBClient*>(connection.Owner()) != nullptr;
}

class TChecker {
 public:
  void Check(const TComponent& component) {
    TFormWarnings warnings(Found, component);
    if (const auto* letter = dynamic_cast<const TMBLetter*>(&component)) {
      CheckLetter(*letter, fTypes, warnings);
    } else if (const auto* catalogue = dynamic_cast<const TMBTypeInfo*>(&component)) {
      CheckCatalogue(*catalogue, fTypes, warnings);
    } else if (const auto* client = dynamic_cast<const TMBClient*>(&component)) {
      CheckClient(*client, warnings);
    } else if (const auto* connection = dynamic_cast<const TMBConnection*>(&component)) {
      CheckConnection(*connection, warnings);
    } else if (const auto* function = dynamic_cast<const TMBCustomFunction*>(&component)) {
      CheckFunction(*function, warnings);
    }
  }

  std::vector<TFormWarning> Found;

 private:
  void CheckClient(const TMBClient& client, TFormWarnings& warnings) {
    const TMBConnection* const connection = client.Connection();
    if (connection == nullptr) {
      return warnings.Add("", "Connection", "there is no connection, so nothing is sent");
    }
    if (IsOwnConnection(*connection) && WhySilent(*connection) != nullptr) {
      return warnings.Add("", "Connection", "there is no connection, so nothing is sent");
    }
    if (connection->IsEmul()) return;  // each client emulates a device of its own
    const TComponent* line = connection->RTU();
    if (line == nullptr) line = connection;
    const auto [first, isNew] = fServers.try_emplace({line, client.GetAdres()}, &client);
    if (isNew) return;
    warnings.Add("", "Adres",
                 Format("%s has the same server address %d on the same line, so both clients talk "
                        "to one device",
                        {NameOf(*first->second), client.GetAdres()}));
  }

  static void CheckConnection(const TMBConnection& connection, TFormWarnings& warnings) {
    if (IsOwnConnection(connection)) return;  // told of its client
    if (const char* why = WhySilent(connection)) {
      const bool tcp = connection.ConnectionType() == TConnectionType::mbTCP;
      warnings.Add("", tcp ? "ConnectionType" : "RTU", why);
    }
  }

  static void CheckFunction(const TMBCustomFunction& function, TFormWarnings& warnings) {
    const TMBClient* const client = function.MBClient();
    if (client == nullptr) {
      warnings.Add("", "MBClient", "there is no client, so its requests do nothing");
    } else if (client->GetAdres() == 0 && !client->IsEmul()) {
      warnings.Add(
          "", "MBClient",
          Format("%s has server address 0, a broadcast that no device answers", {NameOf(*client)}));
    }
    if (const auto* log = dynamic_cast<const TMBLogFunction*>(&function)) {
      CheckItems("OneRecordLength", log->OneRecordLength(), warnings);
    } else if (const auto* oscillograms = dynamic_cast<const TMBFunction41*>(&function)) {
      if (oscillograms->OscilInfoLength() < 1) {
        warnings.Add("", "OscilInfoLength", "it is below 1, so no description is handed over");
      }
      CheckItems("OscilDataLength", oscillograms->OscilDataLength(), warnings);
    }
  }

  static void CheckItems(const char* property, std::int32_t length, TFormWarnings& warnings) {
    constexpr int kMost = TMBItemFunction::kMaxItemBytes;
    if (length < 1 || length > kMost) {
      return warnings.Add("", property,
                          Format("a reply holds records of 1 to %d bytes, not %d, so reading them "
                                 "raises an exception",
                                 {kMost, length}));
    }
    if (const int batch = kMost / length; batch > 1) {
      warnings.Add("", property,
                   Format("each request asks for %d records, so the last one may ask past the end",
                          {batch}));
    }
  }

  TTypeNames fTypes;
  std::map<std::pair<const TComponent*, std::uint8_t>, const TMBClient*> fServers;
};

}  // namespace

std::string NameOf(const TComponent& component) {
  return component.Name().empty() ? std::string(component.ClassInfo().Name()) : component.Name();
}

std::vector<TFormWarning> CheckForm(const TComponent& root) {
  TChecker checker;
  std::vector<const TComponent*> left{&root};  // the next one is the last
  while (!left.empty()) {
    const TComponent& component = *left.back();
    left.pop_back();
    checker.Check(component);
    for (int i = component.ComponentCount() - 1; i >= 0; --i) {
      left.push_back(component.Components(i));
    }
  }
  return std::move(checker.Found);
}

std::string WarningText(const TFormWarning& warning) {
  std::string text = warning.Component;
  for (const std::string* part : {&warning.Item, &warning.Property}) {
    if (!part->empty()) text += "." + *part;
  }
  return text + ": " + warning.Text;
}

}  // namespace OrvixModBus
