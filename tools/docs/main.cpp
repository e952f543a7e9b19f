// orvix_docs: makes the pages that the program itself knows best, in a folder.

#include <iostream>

#include "platform/rtl/uTextFile.h"
#include "tools/docs/uDocPages.h"

int main(int argc, char** argv) {
  using namespace OrvixModBus;
  if (argc != 2) {
    std::cerr << "usage: orvix_docs FOLDER" << std::endl;
    return 2;
  }
  try {
    for (const TDocPage& page : DocPages()) {
      WriteWholeFile(std::string(argv[1]) + "/" + page.Name, page.Text);
    }
    return 0;
  } catch (const Exception& error) {
    std::cerr << "orvix_docs: " << error.what() << std::endl;
    return 1;
  }
}
