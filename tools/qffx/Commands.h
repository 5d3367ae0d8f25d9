// The qffx subcommands. Each takes the arguments after its name and returns
// the process exit status: 0 success, 1 the work failed (an effect has
// errors), 2 bad usage or an unreadable file.
#pragma once

#include <string>
#include <vector>

using CommandArgs = std::vector<std::string>;

int runGenerate(const CommandArgs& args);
int runLuts(const CommandArgs& args);
int runDescribe(const CommandArgs& args);
#ifdef QFFX_HAVE_PLATFORM
int runCompile(const CommandArgs& args);
int runRun(const CommandArgs& args);
int runEffects(const CommandArgs& args);
int runWatch(const CommandArgs& args);
int runPreview(const CommandArgs& args);
int runText(const CommandArgs& args);
int runDiagnostics(const CommandArgs& args);
int runConvert(const CommandArgs& args);
int runScopes(const CommandArgs& args);
#endif
