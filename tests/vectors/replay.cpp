#include "replay.h"

#include <fstream>
#include <map>
#include <optional>
#include <ostream>

#include "letters.h"
#include "values.h"

namespace OrvixModBus::Vectors {
namespace {

std::optional<TDifference> FindDifference(const Json& vector) {
  if (vector.contains("op")) return JudgeValues(vector);
  if (vector.contains("area")) return JudgeLetters(vector);
  throw ENotUnderstood("a vector of neither form");
}

class TReport {
 public:
  explicit TReport(std::ostream& out) : fOut(out) {}

  void Add(const TJudgement& judgement) {
    ++fCounts[judgement.Verdict];
    if (!judgement.Text.empty()) fOut << judgement.Id << ": " << judgement.Text << '\n';
  }
  void AddUnreadable(const std::string& fileName) {
    ++fCounts[EVerdict::kNotUnderstood];
    fOut << fileName << ": can't be read\n";
  }
  int Finish() {
    fOut << fCounts[EVerdict::kPassed] << " passed, " << fCounts[EVerdict::kFailed] << " failed, "
         << fCounts[EVerdict::kSkipped] << " skipped\n";
    if (fCounts[EVerdict::kNotUnderstood] > 0) return kCouldNotJudge;
    return fCounts[EVerdict::kFailed] > 0 ? kSomeFailed : kAllPassed;
  }

 private:
  std::ostream& fOut;
  std::map<EVerdict, int> fCounts;
};

void ReplayFile(const std::string& fileName, TReport& report) {
  std::ifstream file(fileName);
  std::string line;
  if (!file.is_open() || file.peek() == std::ifstream::traits_type::eof()) {
    report.AddUnreadable(fileName);
    return;
  }
  while (std::getline(file, line)) {
    if (!line.empty()) report.Add(JudgeLine(line));
  }
  if (file.bad()) report.AddUnreadable(fileName);
}

}  // namespace

TJudgement Judge(const Json& vector) {
  TJudgement judgement;
  try {
    judgement.Id = vector.at("id").get<std::string>();
    if (vector.value("open", false)) {
      judgement.Verdict = EVerdict::kSkipped;
    } else if (const auto found = FindDifference(vector)) {
      judgement.Verdict = EVerdict::kFailed;
      judgement.Text = found->Path + ": expected " + found->Expected + ", got " + found->Got;
    }
  } catch (const EUnknownOperation& error) {
    judgement.Verdict = EVerdict::kNotUnderstood;
    judgement.Operation = error.Operation();
    judgement.Text = error.what();
  } catch (const std::exception& error) {
    judgement.Verdict = EVerdict::kNotUnderstood;
    judgement.Text = error.what();
  }
  return judgement;
}

TJudgement JudgeLine(const std::string& line) {
  const Json vector = Json::parse(line, nullptr, false);
  if (vector.is_object()) return Judge(vector);
  return {EVerdict::kNotUnderstood, line.substr(0, 40), "no JSON object", {}};
}

int ReplayFiles(const std::vector<std::string>& fileNames, std::ostream& out) {
  TReport report(out);
  for (const std::string& fileName : fileNames) ReplayFile(fileName, report);
  return report.Finish();
}

}  // namespace OrvixModBus::Vectors
