#include "platform/Files.h"

#include "platform/RunTimeError.h"

namespace platform {

Replacement::Replacement(const std::wstring& path) : target(path), fresh(path + L".new") {
    if (fileAttributes(target).value_or(0) & attributes::readOnly) throw RunTimeError(errors::permissionDenied);
    if (fileAttributes(fresh)) { // what a power cut has left
        setFileAttributes(fresh, 0);
        deleteFile(fresh);
    }
    number = openBinary(fresh);
}

Replacement::~Replacement() {
    closeFile(number);
    if (committed) return;
    try {
        deleteFile(fresh);
    } catch (const RunTimeError&) {
        // The next one starts with it.
    }
}

void Replacement::write(std::int64_t position, const std::string& bytes) { writeFile(number, position, bytes); }

void Replacement::commit() {
    flushFile(number);
    closeFile(number);
    replaceFile(target, fresh);
    committed = true;
}

} // namespace platform
