#include "tramostream/exceptions.h"

// The destructors are defined here so that each type has one vtable and can be caught across the library boundary.
namespace TramoStreamExceptions {

read_exception::~read_exception() = default;
write_exception::~write_exception() = default;
bad_line_length::~bad_line_length() = default;

}  // namespace TramoStreamExceptions
