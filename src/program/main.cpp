#include "core/Errors.h"
#include "platform/Messages.h"
#include "platform/Process.h"
#include "ui/frmMain.h"
#include "ui/windows.h"

/// The program is its main window: loading that is all there is to do, and everything else is driven by events.
int main() {
    platform::leaveCurrentFolderOut();
    showErrorsWith(slideError);
    reportEscapedErrors();
    platform::guarded(startQuillory);
    platform::runMessageLoop();
}
