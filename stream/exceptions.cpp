#include "tramostream/exceptions.h"

// The destructors stand here so that each type has one home, and is caught across the library's border.
namespace TramoStreamExceptions {

read_exception::~read_exception() = default;
write_exception::~write_exception() = default;
bad_line_length::~bad_line_length() = default;

}  // namespace TramoStreamExceptions
