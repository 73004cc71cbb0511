// Opens the message viewer on hostile HTML bodies, each in a process of its
// own, and prints how long the viewer took to show the body (built, laid
// out and painted; wall clock and processor time) and the process's peak
// memory, beside the same figures
// for an ordinary newsletter body measured in the same run. The bodies read
// devices and fifos, nest tables, divisions and pictures past the limits,
// and name files through styles.
//
// Run: bench_viewer   (QT_QPA_PLATFORM=offscreen when there is no display)

#include "MsgWriter.h"
#include "app/MessageViewer.h"
#include "support/Strings.h"

#include <QApplication>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <sys/resource.h>
#include <sys/stat.h>
#include <vector>

namespace fs = std::filesystem;

namespace {

std::string repeated(const std::string& s, int n) {
    std::string out;
    out.reserve(s.size() * static_cast<std::size_t>(n));
    for (int i = 0; i < n; ++i)
        out += s;
    return out;
}

struct Body {
    const char* name;
    std::string html;
};

std::vector<Body> bodies(const fs::path& folder) {
    const std::string fifo = (folder / "fifo").string();
    const std::string row = "<tr><td style=\"padding:8px\"><b>Offer</b> of the week: a longer "
                            "line of text with a <a href=\"https://example.org/x\">link</a></td>"
                            "<td><img src=\"cid:logo\" width=60 height=40></td></tr>";
    return {
        // The reference: a newsletter of nested layout tables, as mail programs write them.
        {"ordinary newsletter",
         "<html><head><style>td{font-family:Arial;font-size:10pt}</style></head><body>" +
             repeated("<table width=\"100%\"><tr><td>", 4) + "<table>" + repeated(row, 200) +
             "</table>" + repeated("</td></tr></table>", 4) + "</body></html>"},
        {"img /dev/zero", "<img src=\"/dev/zero\"><img src=\"/dev/urandom\">text"},
        {"img fifo", "<img src=\"" + fifo + "\">text"},
        {"css url() /dev/zero",
         "<table style=\"background-image:url(/dev/zero)\"><tr><td>text</td></tr></table>"},
        {"20 nested tables", repeated("<table><tr><td>x", 20) + "core"},
        {"25 nested tables", repeated("<table><tr><td>x", 25) + "core"},
        {"3000 nested tables", repeated("<table><tr><td>", 3000) + "core"},
        {"100000 nested divs", repeated("<div>", 100000) + "core"},
        {"200000 imgs", repeated("<img src=\"x.png\">", 200000) + "core"},
    };
}

double peakMb() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_maxrss) / 1024.0;
}

// Processor time of this process so far: the wall clock of a shared
// machine also counts other programs' work.
double cpuMs() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const auto ms = [](const timeval& t) { return t.tv_sec * 1e3 + t.tv_usec / 1e3; };
    return ms(usage.ru_utime) + ms(usage.ru_stime);
}

// One body in this process: prints "wall-ms cpu-ms peak-MB".
int measure(const fs::path& file, int argc, char** argv) {
    QApplication app(argc, argv);
    const double cpuStart = cpuMs();
    const auto start = std::chrono::steady_clock::now();
    {
        CMessageViewer viewer(Kerf::Util::fromPath(file));
        viewer.setAttribute(Qt::WA_DeleteOnClose, false);
        viewer.show();
        viewer.grab();
        QCoreApplication::processEvents();
    }
    const double ms =
        std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
    std::printf("%.0f %.0f %.0f\n", ms, cpuMs() - cpuStart, peakMb());
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    // The offscreen platform's notes on what it lacks would break up the table.
    qputenv("QT_LOGGING_RULES", "qt.qpa.*=false");
    if (argc == 3 && std::string(argv[1]) == "--one")
        return measure(argv[2], argc, argv);
    const fs::path folder =
        fs::temp_directory_path() / ("bench_viewer_" + std::to_string(getpid()));
    fs::create_directories(folder);
    ::mkfifo((folder / "fifo").c_str(), 0600);
    std::printf("%-22s %10s %10s %10s   (limits: 1000 ms, 200 MB)\n", "body", "wall ms", "cpu ms",
                "peak MB");
    for (const Body& body : bodies(folder)) {
        QoMsg::MsgMessage message;
        message.subject = L"Hostile body";
        message.html = body.html;
        const fs::path file = folder / "body.msg";
        QoMsg::writeMsgFile(file, message);
        const std::string command = "'" + std::string(argv[0]) + "' --one '" + file.string() + "'";
        double ms = -1, cpu = -1, mb = -1;
        if (FILE* child = ::popen(command.c_str(), "r")) {
            if (std::fscanf(child, "%lf %lf %lf", &ms, &cpu, &mb) != 3)
                ms = cpu = mb = -1;
            ::pclose(child);
        }
        std::printf("%-22s %10.0f %10.0f %10.0f\n", body.name, ms, cpu, mb);
        std::fflush(stdout);
    }
    fs::remove_all(folder);
    return 0;
}
