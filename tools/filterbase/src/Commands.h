#pragma once

#include "Arguments.h"

/// One function for each subcommand; each returns the exit code and may throw a CommandError.
namespace Tesk::Command {

int runImport(const Arguments &arguments);
int runList(const Arguments &arguments);
int runShow(const Arguments &arguments);
int runPick(const Arguments &arguments);
int runWhy(const Arguments &arguments);
int runResolve(const Arguments &arguments);
int runVersions(const Arguments &arguments);
int runHide(const Arguments &arguments);
int runUnhide(const Arguments &arguments);
int runRemove(const Arguments &arguments);
int runCheck(const Arguments &arguments);
int runExport(const Arguments &arguments);
int runStats(const Arguments &arguments);

} // namespace Tesk::Command
