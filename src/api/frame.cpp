#include "api/frame.hpp"

#include <cstdlib>
#include <cstring>
#include <new>

namespace Tervik::Rom::Api::Frame {

namespace {

char outOfMemoryText[] = "std::bad_alloc";
RomExceptionRecord outOfMemory{outOfMemoryText};

}  // namespace

RomExceptionHandle MakeException(const char* text) noexcept {
    auto* record = new (std::nothrow) RomExceptionRecord{nullptr};
    if (record == nullptr) return &outOfMemory;
    const std::size_t size = std::strlen(text) + 1;
    record->text = static_cast<char*>(std::malloc(size));
    if (record->text == nullptr) {
        delete record;
        return &outOfMemory;
    }
    std::memcpy(record->text, text, size);
    return record;
}

void ThrowWrongHandle(const char* interfaceName) {
    throw Common::RomException(std::string("Invalid object handle: expected ") + interfaceName + ".");
}

std::string Str(const char* text) {
    if (text == nullptr) throw Common::RomException("Invalid string argument: null.");
    return text;
}

}  // namespace Tervik::Rom::Api::Frame

extern "C" {

const char* RomGetExceptionDescription(RomExceptionHandle exception) {
    return exception == nullptr ? "" : exception->text;
}

void RomReleaseException(RomExceptionHandle exception) {
    if (exception == nullptr || exception == &Tervik::Rom::Api::Frame::outOfMemory) return;
    std::free(exception->text);
    delete exception;
}
}
