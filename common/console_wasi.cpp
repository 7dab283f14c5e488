// A page has no standard output.
#include "common/console.h"
#include "tramostream/messages.h"

namespace tramo {

void setMessages(Messages) noexcept {}
Messages getMessages() noexcept { return Messages::Silent; }

}  // namespace tramo

namespace tramo::console {

void wide(std::wstring_view) {}
void narrow(std::string_view) {}

}  // namespace tramo::console
