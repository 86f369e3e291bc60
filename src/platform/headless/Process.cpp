#include "platform/Process.h"

#include "platform/headless/Loop.h"
#include "platform/headless/State.h"

namespace platform {

void leaveCurrentFolderOut() {}

bool previousInstance() { return headless::state.previousInstance; }

std::wstring programFolder() { return headless::state.programFolder; }

void endProcess() { throw headless::ProcessEnded{}; }

} // namespace platform
