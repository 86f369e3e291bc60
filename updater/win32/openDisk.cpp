#include "ProgramDisk.h"

namespace updater {

std::unique_ptr<Disk> openDisk(const std::wstring& folder) { return std::make_unique<ProgramDisk>(folder); }

} // namespace updater
