// A form with one letter, written and read at growing sizes. The cost per register must not grow
// with the form. BuildInCode makes the same letter without a text: the rest is what a form costs.

#include <benchmark/benchmark.h>
#include <malloc.h>

#include "bench/Names.h"
#include "platform/model/uDataModule.h"
#include "platform/model/uForm.h"
#include "uMBForm.h"
#include "uMBLetters.h"

namespace OrvixModBus {
namespace {

void Build(TComponent& root, int count) {
  auto& types = *new TMBTypeInfo(&root);
  types.SetName("Types");
  auto& letter = *new TMBLetter(&root);
  letter.SetName("Letter");
  letter.Regs().SetMBTypeInfo(&types);
  const TUpdate update(letter.Regs());
  for (int i = 0; i < count; ++i) {
    TMBReg& reg = *letter.Regs().Add();
    reg.SetDisplayName(NameOf(i));
    reg.SetRegAdress(static_cast<std::uint32_t>(i));
    reg.SetBytesInOneReg(2);
    reg.SetRegsCount(1);
    reg.SetCaption("what people read of it");
    reg.SetRegType(TRegType::rtNum);
    reg.SetTypeName("Temperature");
  }
}

TFormFile NewForm() {
  TFormFile form;
  form.RegisterClasses(ModBusClasses());
  return form;
}

void CountRegisters(benchmark::State& state) {
  state.counters["per_register"] =
      benchmark::Counter(static_cast<double>(state.iterations() * state.range(0)),
                         benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

void BuildInCode(benchmark::State& state) {
  for (auto _ : state) {
    TDataModule root;
    Build(root, static_cast<int>(state.range(0)));
  }
  CountRegisters(state);
}

void WriteForm(benchmark::State& state) {
  const TFormFile form = NewForm();
  TDataModule root;
  Build(root, static_cast<int>(state.range(0)));
  for (auto _ : state) benchmark::DoNotOptimize(form.Write(root));
  CountRegisters(state);
}

void ReadForm(benchmark::State& state) {
  TFormFile form = NewForm();
  TDataModule root;
  Build(root, static_cast<int>(state.range(0)));
  const std::string text = form.Write(root);
  for (auto _ : state) form.Read(text);
  CountRegisters(state);
  const std::size_t before = mallinfo2().uordblks;
  const auto read = form.Read(text);
  state.counters["bytes_per_register"] =
      static_cast<double>(mallinfo2().uordblks - before) / static_cast<double>(state.range(0));
}

void Sizes(benchmark::internal::Benchmark* benchmark) {
  benchmark->Arg(1000)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);
}

BENCHMARK(BuildInCode)->Apply(Sizes);
BENCHMARK(WriteForm)->Apply(Sizes);
BENCHMARK(ReadForm)->Apply(Sizes);

}  // namespace
}  // namespace OrvixModBus

BENCHMARK_MAIN();
