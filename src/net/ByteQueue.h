#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// A byte string that grows at its end and is used up from its front. Taking from the front moves nothing: what was
/// taken stays in place until it is half of the whole, so any number of small takes costs no more than the bytes.
class ByteQueue {
public:
    bool empty() const { return size() == 0; }
    std::size_t size() const { return data.size() - taken; }
    const char* front() const { return data.data() + taken; }

    void append(std::string_view bytes) { data.append(bytes); }

    /// The first `count` bytes, which must be there.
    void peek(std::size_t count, std::string& bytes) const { bytes.assign(data, taken, count); }

    void drop(std::size_t count) {
        taken += count;
        if (taken == data.size()) {
            clear();
        } else if (taken > data.size() / 2) {
            data.erase(0, taken);
            taken = 0;
        }
    }

    /// As peek and drop, into a string whose storage is used again. When it is all there is, the two storages change
    /// places and nothing is copied.
    void take(std::size_t count, std::string& bytes) {
        if (taken == 0 && count == data.size()) {
            bytes.swap(data);
            clear();
        } else {
            bytes.assign(data, taken, count);
            drop(count);
        }
    }

    void clear() {
        constexpr std::size_t worthKeeping = 256 * 1024; // more than one read brings
        data.clear();
        if (data.capacity() > worthKeeping) data.shrink_to_fit();
        taken = 0;
    }

private:
    std::string data;
    std::size_t taken = 0;
};
