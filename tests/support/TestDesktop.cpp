#include "support/TestDesktop.h"

#include "platform/Files.h"

void testDesktop::putFile(const std::wstring& path, const std::string& bytes) {
    if (platform::fileAttributes(path)) platform::deleteFile(path);
    const std::int16_t number = platform::openBinary(path);
    platform::writeFile(number, 1, bytes);
    platform::closeFile(number);
}
