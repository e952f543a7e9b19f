#include "Writing.h"

#include <cstdio>

#include "Plant.h"
#include "Table.h"
#include "Waiting.h"

namespace OrvixModBus {
namespace {

// A new value as the bytes that the register holds for it.
Bytes DataFor(const TMBReg& reg, const std::string& text) {
  if (const TMBRegTypeColItem* type = reg.GetRegTypeItem()) {
    return type->StrToData(text, static_cast<std::uint8_t>(reg.CountInByte()));
  }
  Bytes data(text.begin(), text.end());
  data.resize(static_cast<std::size_t>(reg.CountInByte()), ' ');
  return data;
}

TStringDynArray ValuesOf(const TMBRegs& regs) {
  TStringDynArray values;
  for (const TMBReg* reg : regs.RegList()) values.push_back(ValueText(*reg));
  return values;
}

}  // namespace

TPlantWriter::TPlantWriter(TMBClient& client, TMBTypeInfo& types) : fClient(client), fTypes(types) {
  DescribeSettings(fSettings.Regs(), types);
  fSettings.SetClient(&client);
  client.OnReadFile.Add(this, &TPlantWriter::OnReadFile);
}

bool TPlantWriter::Read(TMBLetter& letter) {
  letter.ReadAllRegs();
  return AllAnswered(fClient, "Reading the settings");
}

bool TPlantWriter::ChangeSettings() {
  if (!Read(fSettings)) return false;
  TMBRegs& regs = fSettings.Regs();
  const TStringDynArray before = ValuesOf(regs);
  for (TMBReg* reg : regs.RegList()) reg->SetRegData(DataFor(*reg, NewSetting(reg->Name())));

  TMBReg* const setPoint = regs.GetItemByName("SetPoint");
  fSettings.WriteReg(setPoint, 0, ToBytes(setPoint->Data()));
  fSettings.WriteRegsF10(TStringDynArray{"TankSetPoint", "FrostSetPoint", "NightSetPoint"});
  fSettings.WriteAllF66F65();
  TMBLetter now;  // without values: what can't be read back shows none
  now.Assign(fSettings);
  if (!AllAnswered(fClient, "Writing the settings") || !Read(now)) return false;

  std::printf("\nSettings, written and read back:\n");
  for (int i = 0; i < regs.Count(); ++i) {
    const TMBReg& reg = *now.Regs().GetItem(i);
    std::printf("  %-14s %8u   $%02X   %-10s -> %-10s %s\n", reg.Name().c_str(), reg.Adress(),
                reg.MBFuncWrite(), before[static_cast<std::size_t>(i)].c_str(),
                ValueText(reg).c_str(), reg.Caption().c_str());
  }
  return true;
}

bool TPlantWriter::ReadServiceLog() {
  std::printf("\nService log, file %u:\n", kServiceFile);
  const auto fields = fTypes.TypeStructurs().ItemsByStructurName(kServiceStructur);
  fClient.ReadFileByStructur(kServiceFile, 0, kServiceRecords, fields, nullptr);
  return AllAnswered(fClient, "Reading the service log");
}

void TPlantWriter::OnReadFile(TMBClient& /*sender*/, TServerReply reply,
                              TModbusFileRecordList& records, TObject* /*letterOwner*/) {
  if (reply != TServerReply::srNormalReply) return;
  for (int i = 0; i < records.Count(); ++i) {
    const TModbusFileRecord& record = records.Records(i);
    std::printf("  record %u ", record.Record);
    for (const std::string& value :
         fTypes.TypeStructurs().ValuesByStructurName(kServiceStructur, record.Data, fTypes, {})) {
      std::printf("  %-12s", value.c_str());
    }
    std::printf("\n");
  }
}

bool TPlantWriter::ReadIdentity() {
  fClient.OnRead = {this, &TPlantWriter::OnRead};
  fClient.Read(0x11, 0, 0, nullptr);
  const bool complete = AllAnswered(fClient, "Reading the identity");
  fClient.OnRead = {};
  return complete;
}

// | server id | FF running, 00 not | text |
void TPlantWriter::OnRead(TMBClient& /*sender*/, TServerReply reply, std::uint8_t /*func*/,
                          std::uint32_t /*startReg*/, const Bytes& values,
                          TObject* /*letterOwner*/) {
  if (reply != TServerReply::srNormalReply || values.size() < 2) return;
  std::printf("\nIdentity: server id %02X, %s, \"%s\"\n", values[0],
              values[1] == 0xFF ? "running" : "stopped",
              std::string(values.begin() + 2, values.end()).c_str());
}

}  // namespace OrvixModBus
