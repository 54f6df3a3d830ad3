#include "CommandLine.h"

#include <QCoreApplication>

#include <fcntl.h>
#include <unistd.h>

// A stream that the caller closed must not become the first file that is opened; nothing can be
// written to it, which the command then tells.
static void occupyClosedStreams()
{
    for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream) {
        if (::fcntl(stream, F_GETFD) == -1)
            (void)::open("/dev/null", O_RDONLY);
    }
}

int main(int argc, char *argv[])
{
    occupyClosedStreams();
    const QCoreApplication application(argc, argv);
    return Tesk::Command::CommandLine::run(argc, argv);
}
