#include "answerStream.h"
#include "listeningSocket.h"
#include "loadCheck.h"
#include "scgiChild.h"
#include "scgiOptions.h"
#include "scgiReport.h"
#include "scgiServer.h"
#include "standardDescriptors.h"
#include "zvControl.h"

#include <cstdio>
#include <cstdlib>
#include <utility>

namespace {

constexpr int wrongUsage = 2;

int serve(zv::UniqueFd connection) {
    return serveScgiConnection(std::move(connection), zvControlMain);
}

// What each request would do anew: the first stream makes the C++ library's locale.
void prepare() {
    AnswerStream stream;
    stream << 0;
}

int serveAll(const ScgiOptions& options) {
    ListeningSocket socket;
    ScgiServer server(socket, options.children, serve);
    if (const std::string reason = socket.open(options); !reason.empty()) {
        reportScgi(reason);
        return EXIT_FAILURE;
    }
    prepare();
    return server.run();
}

} // namespace

int main(int argc, char** argv) {
    const std::string loading = describeLoading();
    openStandardDescriptors();
    ScgiOptions options;
    if (const std::string wrong = readScgiOptions(argc, argv, options); !wrong.empty()) {
        reportScgi(wrong);
        return wrongUsage;
    }
    if (options.help) {
        std::fputs(scgiUsage, stdout);
        return EXIT_SUCCESS;
    }
    if (!loading.empty()) {
        reportScgi("Refusing to serve. While the libraries were loaded, " + loading +
                   ". A process that is forked for a request could not rely on them. zvControl-cgi-bin can.");
        return EXIT_FAILURE;
    }
    return serveAll(options);
}
