// This library, all lines in one thread: by its transport alone, or by the whole path from a letter
// through the client to decoded registers. Each completion asks for the next, as polling does.

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <new>

#include "bench/line/uMaster.h"
#include "platform/rtl/uException.h"
#include "uMBLetters.h"

void* operator new(std::size_t size) {
  OrvixModBus::Allocations.fetch_add(1, std::memory_order_relaxed);
  if (void* memory = std::malloc(size)) return memory;
  throw std::bad_alloc();
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

namespace OrvixModBus {
namespace {

constexpr std::uint8_t kServer = 1;

class TMaster {
 public:
  using TCompleted = std::function<void()>;

  TMaster(const TMasterOptions& options, const std::string& port, TCompleted completed)
      : Completed(std::move(completed)) {
    Line.SetPortProperty(port);
    Line.SetBaudRate(static_cast<TBaudRate>(options.BaudRate));
    Line.SetParity(TParityScheme::psEven);
    Line.SetSilentInterval(options.Silence);
    Line.SetActive(true);
  }
  virtual ~TMaster() = default;
  virtual void Ask() = 0;

 protected:
  void Require(bool good) const {
    if (!good) throw Exception("A reply is no good");
    Completed();
  }

  TMBRTUConnection Line;
  const TCompleted Completed;
};

class TTransportMaster final : public TMaster {
 public:
  TTransportMaster(const TMasterOptions& options, const std::string& port, TCompleted completed)
      : TMaster(options, port, std::move(completed)), fPdu(RequestPdu(options)) {
    fClient.SetConnection(&Line);
    fClient.SetServerAddress(kServer);
    fClient.OnCustomTransactionComplete = {this, &TTransportMaster::Complete};
  }
  void Ask() override {
    fClient.InitCustomTransaction(fPdu[0], std::span(fPdu).subspan(1), false, nullptr);
  }

 private:
  void Complete(TModbusClient&, TModbusTransaction& transaction, std::uint8_t) {
    Require(transaction.ServerReply() == TServerReply::srNormalReply);
  }

  const Bytes fPdu;
  TModbusClient fClient;
};

// What all that goes through the client has in common.
class TClientMaster : public TMaster {
 protected:
  TClientMaster(const TMasterOptions& options, const std::string& port, TCompleted completed)
      : TMaster(options, port, std::move(completed)) {
    Connection.SetRTU(&Line);
    Client.SetConnection(&Connection);
    Client.SetAdres(kServer);
    Client.OnNoneAnswer =
        Client.OnExeptionAnswer = [](TMBClient&, TServerReply, std::uint8_t, std::uint32_t) {
          throw Exception("A reply is no good");
        };
  }

  TMBConnection Connection;
  TMBClient Client;
};

// Letters read at most 128 coils by one request, the client takes any number.
class TCoilMaster final : public TClientMaster {
 public:
  TCoilMaster(const TMasterOptions& options, const std::string& port, TCompleted completed)
      : TClientMaster(options, port, std::move(completed)),
        fCount(static_cast<std::uint16_t>(options.Count)) {
    Client.OnRead = [this](TMBClient&, TServerReply, std::uint8_t, std::uint32_t,
                           const Bytes& values, TObject*) { Require(!values.empty()); };
  }
  void Ask() override { Client.Read(1, 0, fCount, nullptr); }

 private:
  const std::uint16_t fCount;
};

class TLetterMaster final : public TClientMaster {
 public:
  TLetterMaster(const TMasterOptions& options, const std::string& port, TCompleted completed)
      : TClientMaster(options, port, std::move(completed)), fFunction(options.Function) {
    DescribeTypes();
    fLetter.SetClient(&Client);
    fLetter.Regs().SetMBTypeInfo(&fTypes);
    if (options.Map) {
      for (const TTag& tag : TagMap()) Add(tag.Address, tag.Words);
    } else {
      for (int i = 0; i < options.Count; ++i) Add(i, 1);
    }
    fLetter.OnReadAllRegs = fLetter.OnWriteAllRegs = [this](TMBLetter&) { Require(true); };
  }

  void Ask() override {
    switch (fFunction) {
      case 6:
        return fLetter.WriteReg(fLetter.Regs().GetItem(0), 0, kValue);
      case 16:
        return fLetter.WriteRegsF10(fNames);
      default:
        return fLetter.ReadAllRegs();
    }
  }

 private:
  static inline const Bytes kValue{0x12, 0x34};

  void DescribeTypes() {
    for (const int words : {1, 2, 4}) {
      TMBRegTypeNumber& number = *fTypes.TypeNumbers().Add();
      number.SetName(TypeName(words));
      number.SetMaxValue(words == 1 ? 65535 : 2147483647);
      number.SetMultiplier(0.1);
    }
  }
  static std::string TypeName(int words) { return "Tenths of " + std::to_string(words); }

  void Add(int address, int words) {
    TMBReg& reg = *fLetter.Regs().Add();
    reg.SetDisplayName("Value " + std::to_string(address));
    reg.SetRegAdress(static_cast<std::uint32_t>(address));
    reg.SetMBFuncRead(3);
    reg.SetMBFuncWrite(static_cast<std::uint8_t>(fFunction == 3 ? 16 : fFunction));
    reg.SetBytesInOneReg(2);
    reg.SetRegsCount(static_cast<std::uint8_t>(words));
    reg.SetRegType(TRegType::rtNum);
    reg.SetTypeName(TypeName(words));
    fNames.push_back(reg.Name());
  }

  const int fFunction;
  TMBTypeInfo fTypes;
  TMBLetter fLetter;
  TStringDynArray fNames;
};

std::unique_ptr<TMaster> NewMaster(const TMasterOptions& options, const std::string& port,
                                   TMaster::TCompleted completed) {
  if (!options.Letter) {
    return std::make_unique<TTransportMaster>(options, port, std::move(completed));
  }
  if (options.Function == 1) {
    return std::make_unique<TCoilMaster>(options, port, std::move(completed));
  }
  return std::make_unique<TLetterMaster>(options, port, std::move(completed));
}

void Run(const TMasterOptions& options) {
  TMeasure measure(options);
  std::vector<std::unique_ptr<TMaster>> masters;
  bool done = false;
  for (std::size_t i = 0; i < options.Ports.size(); ++i) {
    masters.push_back(NewMaster(options, options.Ports[i], [&measure, &masters, &done, i] {
      if (!measure.Completed(i)) done = true;
      if (!done) masters[i]->Ask();
    }));
  }
  for (const auto& master : masters) master->Ask();
  while (!done) TLoop::Current().RunOnce(TLoop::TClock::time_point::max());
}

}  // namespace
}  // namespace OrvixModBus

int main(int argc, char** argv) {
  const OrvixModBus::TMasterOptions options = OrvixModBus::ReadOptions(argc, argv);
  try {
    OrvixModBus::Run(options);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "ours: %s\n", error.what());
    return 1;
  }
}
