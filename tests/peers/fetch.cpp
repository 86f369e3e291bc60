#include <cstdio>

#include "net/CDownload.h"
#include "platform/Files.h"
#include "platform/Hash.h"
#include "scratch.h"

/// Downloads each URL named on the command line, and says of each in a line what its file is: MD5, what Starting told of
/// its size, and the bytes that arrived. "Error" and a number if it failed.
int main(int count, char** arguments) {
    const std::wstring file = scratchFile();
    for (int i = 1; i < count; ++i) {
        const std::string url = arguments[i];
        CDownload download;
        bool ended = false;
        std::int32_t error = 0;
        std::int32_t told = -1;
        long long arrived = 0;
        download.on.Starting = [&](std::int32_t size, const std::string&) { told = size; };
        download.on.DataArrival = [&](std::int32_t bytes) { arrived += bytes; };
        download.on.Completed = [&] { ended = true; };
        download.on.Error = [&](std::int16_t number, std::wstring&) {
            error = number;
            ended = true;
        };
        download.Download(std::wstring(url.begin(), url.end()), file);
        while (!ended) platform::waitMessages();
        if (error != 0) {
            std::printf("Error %d\n", static_cast<int>(error));
        } else {
            std::printf("%s %d %lld\n", platform::md5OfFile(file).c_str(), static_cast<int>(told), arrived);
        }
        std::fflush(stdout);
    }
}
