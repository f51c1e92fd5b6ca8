#include "platform/printed_text.h"

#include <cstdlib>
#include <memory>

namespace vellum {

std::optional<std::string> printed_text(const std::function<void(std::FILE* stream)>& print) {
    char* begin = nullptr;
    std::size_t size = 0;
    std::FILE* const stream = ::open_memstream(&begin, &size);
    if (stream == nullptr) {
        return std::nullopt;
    }
    print(stream);
    const bool whole = std::fclose(stream) == 0;
    const std::unique_ptr<char, void (*)(void*)> text(begin, std::free);
    return whole && text ? std::optional(std::string(text.get(), size)) : std::nullopt;
}

}  // namespace vellum
