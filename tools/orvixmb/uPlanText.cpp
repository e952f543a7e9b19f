#include "tools/orvixmb/uPlanText.h"

#include <cmath>
#include <nlohmann/json.hpp>

#include "platform/rtl/uFormat.h"
#include "platform/rtl/uNumText.h"
#include "tools/display/uTextTable.h"

namespace OrvixModBus {
namespace {

using nlohmann::ordered_json;

const char* Reason(TPlanSplit split) {
  switch (split) {
    case TPlanSplit::None:
      return "";
    case TPlanSplit::Gap:
      return "gap before it";
    case TPlanSplit::TooLong:
      return "128 at most";
    case TPlanSplit::TooFar:
      return "ends 128 above the lowest";
    case TPlanSplit::NewBlock:
      return "multiple of 256";
    case TPlanSplit::TooManyBytes:
      return "250 bytes at most";
    case TPlanSplit::PageEnd:
      return "end of a page";
  }
  return "";
}

const char* Unit(std::uint8_t func, bool one) {
  if (func == 0x01 || func == 0x02) return one ? "bit" : "bits";
  if (IsPagedRead(func)) return one ? "byte" : "bytes";
  return one ? "register" : "registers";
}

std::string Milliseconds(std::chrono::nanoseconds time) {
  return Format("%.1f", {std::chrono::duration<double, std::milli>(time).count()});
}

// To the microsecond.
double Rounded(std::chrono::nanoseconds time) {
  return std::round(std::chrono::duration<double, std::micro>(time).count()) / 1000;
}

std::string Covered(const TPlannedRequest& request) {
  const std::string& first = request.Regs.front()->Name();
  if (request.Regs.size() == 1) return "1: " + first;
  return Format("%d: %s to %s", {request.Regs.size(), first, request.Regs.back()->Name()});
}

TStringDynArray Row(std::size_t number, const TPlannedRequest& request) {
  TStringDynArray row{IntToStr(static_cast<std::int64_t>(number)),
                      "$" + IntToHex(request.Func, 2),
                      IntToStr(request.FirstAdress),
                      Format("%u %s", {request.Count, Unit(request.Func, request.Count == 1)}),
                      Covered(request),
                      Format("%d", {request.RequestBytes}),
                      Format("%d", {request.ReplyBytes}),
                      Milliseconds(request.Time)};
  if (request.SplitReg != nullptr) {
    row.push_back(request.SplitReg->Name() + ": " + Reason(request.Split));
  }
  return row;
}

ordered_json RequestJson(const TPlannedRequest& request) {
  ordered_json split;
  if (request.SplitReg != nullptr) {
    split = {{"register", request.SplitReg->Name()}, {"reason", Reason(request.Split)}};
  }
  return {{"function", request.Func},
          {"adress", request.FirstAdress},
          {"count", request.Count},
          {"unit", Unit(request.Func, false)},
          {"registers", request.Regs.size()},
          {"first", request.Regs.front()->Name()},
          {"last", request.Regs.back()->Name()},
          {"bytesOut", request.RequestBytes},
          {"bytesIn", request.ReplyBytes},
          {"milliseconds", Rounded(request.Time)},
          {"split", split}};
}

}  // namespace

std::string PlanText(const TLetterPlan& plan) {
  TTextTable table;
  table.Columns = {{"#", EAlign::Right},
                   {"Function"},
                   {"Address", EAlign::Right},
                   {"Count"},
                   {"Registers"},
                   {"Out", EAlign::Right},
                   {"In", EAlign::Right},
                   {"ms", EAlign::Right},
                   {"Split"}};
  for (const TPlannedRequest& request : plan.Requests) {
    table.Rows.push_back(Row(table.Rows.size() + 1, request));
  }
  table.Rows.push_back({"", "Sum", "", "", "", Format("%d", {plan.RequestBytes()}),
                        Format("%d", {plan.ReplyBytes()}), Milliseconds(plan.Time())});
  return TableText(table);
}

ordered_json PlanJson(const TLetterPlan& plan) {
  ordered_json requests = ordered_json::array();
  for (const TPlannedRequest& request : plan.Requests) requests.push_back(RequestJson(request));
  return {{"letter", plan.Letter},
          {"requests", std::move(requests)},
          {"bytesOut", plan.RequestBytes()},
          {"bytesIn", plan.ReplyBytes()},
          {"milliseconds", Rounded(plan.Time())}};
}

}  // namespace OrvixModBus
