#pragma once

namespace Tesk::Command {

/// Reads the command line and runs the subcommand it names.
struct CommandLine
{
    /// Returns the exit code of the process.
    static int run(int argc, const char *const *argv);
};

} // namespace Tesk::Command
