// Writes the HTML body of each message file below a folder as a file of its
// own, to seed the fuzzing of the viewer's HTML with real bodies:
//   html_body_seeds MESSAGE_FOLDER SEED_FOLDER

#include "mail/MessageDocument.h"
#include "support/Strings.h"

#include <cstdio>
#include <filesystem>
#include <fstream>

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: %s MESSAGE_FOLDER SEED_FOLDER\n", argv[0]);
        return 2;
    }
    namespace fs = std::filesystem;
    std::error_code error;
    int written = 0;
    // Generated messages lie in filing folders below the one named.
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(argv[1], error)) {
        if (entry.path().extension() != ".msg")
            continue;
        const Kerf::QuireLib::CMessageDocument document(Kerf::Util::fromPath(entry.path()));
        if (document.HtmlBody().empty())
            continue;
        const std::string html = Kerf::Util::toNarrow(document.HtmlBody());
        std::ofstream(fs::path(argv[2]) / (entry.path().stem().string() + ".html"),
                      std::ios::binary)
            .write(html.data(), static_cast<std::streamsize>(html.size()));
        ++written;
    }
    std::printf("%d HTML bodies written\n", written);
    return 0;
}
