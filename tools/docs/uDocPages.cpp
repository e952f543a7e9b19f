#include "tools/docs/uDocPages.h"

#include <sstream>

#include "tools/docs/uFormDocs.h"
#include "tools/docs/uToolDocs.h"
#include "tools/orvixmb/uTool.h"

namespace OrvixModBus {

std::vector<TDocPage> DocPages() {
  std::stringstream nothing;
  TToolIo io{.In = nothing, .Out = nothing, .Err = nothing};
  CLI::App app;
  DescribeTool(app, io);
  return {
      {"forms.md", FormDocs()}, {"orvixmb.1", ManPage(app)}, {"orvixmb.bash", BashCompletion(app)}};
}

}  // namespace OrvixModBus
