#include "common/console.h"
#include <iostream>

namespace tramo::console {

void wide(std::wstring_view message) {
    std::wcout.write(message.data(), static_cast<std::streamsize>(message.size())).flush();
}

void narrow(std::string_view message) {
    std::cout.write(message.data(), static_cast<std::streamsize>(message.size())).flush();
}

}  // namespace tramo::console
