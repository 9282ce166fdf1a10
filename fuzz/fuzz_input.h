// Pieces shared by the fuzz targets: typed reads from the fuzzer's bytes,
// buffers of exactly the promised size (so AddressSanitizer sees any overrun),
// byte snapshots that show any write, and a check that stops the run.
#ifndef KEVRA_FUZZ_FUZZ_INPUT_H
#define KEVRA_FUZZ_FUZZ_INPUT_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

namespace kevra_fuzz {

[[noreturn]] inline void fail(const char* what, const char* file, int line) {
    std::fprintf(stderr, "%s:%d: check failed: %s\n", file, line, what);
    std::abort();
}

// Reads the input front to back; whatever lies past its end reads as zeros.
class Reader {
public:
    Reader(const uint8_t* data, size_t size) : data_(data), size_(size) {}

    void read(void* out, size_t n) {
        const size_t k = n < size_ ? n : size_;
        if (k != 0) std::memcpy(out, data_, k);
        std::memset(static_cast<unsigned char*>(out) + k, 0, n - k);
        data_ += k;
        size_ -= k;
    }

    template <class T>
    T take() {
        T value;
        read(&value, sizeof value);
        return value;
    }

    // Fills out[0..n) with the rest of the input, repeated as often as needed
    // (zeros when nothing is left), so that a short input can describe many rows.
    template <class T>
    void cycle(T* out, size_t n) const {
        auto* bytes = reinterpret_cast<unsigned char*>(out);
        const size_t total = n * sizeof(T);
        if (size_ == 0) {
            std::memset(bytes, 0, total);
            return;
        }
        for (size_t at = 0; at < total; at += size_) {
            std::memcpy(bytes + at, data_, total - at < size_ ? total - at : size_);
        }
    }

private:
    const uint8_t* data_;
    size_t size_;
};

// A heap array of exactly n elements; n = 0 still gives a distinct non-null pointer.
template <class T>
class Buffer {
public:
    explicit Buffer(size_t n) : data_(new T[n]), size_(n) {}
    T* data() { return data_.get(); }
    const T* data() const { return data_.get(); }
    size_t size() const { return size_; }
    T& operator[](size_t i) { return data_[i]; }
    const T& operator[](size_t i) const { return data_[i]; }
    void fill_bytes(unsigned char b) { std::memset(data_.get(), b, size_ * sizeof(T)); }

private:
    std::unique_ptr<T[]> data_;
    size_t size_;
};

// The bytes of several objects, to compare before and after a call.
class Snapshot {
public:
    template <class T>
    Snapshot& add(const T* p, size_t n = 1) {
        const auto* b = reinterpret_cast<const unsigned char*>(p);
        bytes_.insert(bytes_.end(), b, b + n * sizeof(T));
        return *this;
    }
    template <class T>
    Snapshot& add(const Buffer<T>& b) {
        return add(b.data(), b.size());
    }
    bool operator==(const Snapshot& other) const { return bytes_ == other.bytes_; }

private:
    std::vector<unsigned char> bytes_;
};

inline uint32_t float_bits(float x) {
    uint32_t b;
    std::memcpy(&b, &x, sizeof b);
    return b;
}

inline bool same_bits(const void* a, const void* b, size_t n) { return std::memcmp(a, b, n) == 0; }

inline void invert_bytes(void* p, size_t n) {
    for (size_t i = 0; i < n; ++i) static_cast<unsigned char*>(p)[i] ^= 0xFF;
}

}  // namespace kevra_fuzz

#define FUZZ_CHECK(cond) ((cond) ? void(0) : ::kevra_fuzz::fail(#cond, __FILE__, __LINE__))

#endif  // KEVRA_FUZZ_FUZZ_INPUT_H
