#include "tramostream/exceptions.h"
#include <gtest/gtest.h>
#include <type_traits>

using namespace TramoStreamExceptions;

namespace {

TEST(Exceptions, OnlyReadAndWriteExceptionsAreRuntimeErrors) {
    EXPECT_TRUE((std::is_base_of_v<std::runtime_error, read_exception>));
    EXPECT_TRUE((std::is_base_of_v<std::runtime_error, write_exception>));
    EXPECT_TRUE((std::is_base_of_v<std::exception, bad_line_length>));
    EXPECT_FALSE((std::is_base_of_v<std::runtime_error, bad_line_length>));
}

TEST(Exceptions, HaveVirtualDestructors) {
    EXPECT_TRUE(std::has_virtual_destructor_v<read_exception>);
    EXPECT_TRUE(std::has_virtual_destructor_v<write_exception>);
    EXPECT_TRUE(std::has_virtual_destructor_v<bad_line_length>);
}

template <class Error> void expectCarries(const char* text) {
    try {
        throw Error(text);
    } catch (const std::runtime_error& caught) {
        EXPECT_STREQ(caught.what(), text);
        EXPECT_NE(dynamic_cast<const Error*>(&caught), nullptr);
    }
    EXPECT_STREQ(Error(std::string(text)).what(), text);
}

TEST(Exceptions, ReadExceptionHoldsItsText) { expectCarries<read_exception>("Unsupported encoding."); }
TEST(Exceptions, WriteExceptionHoldsItsText) { expectCarries<write_exception>("file is not open"); }

TEST(Exceptions, BadLineLengthHoldsGivenExpectedAndLineInThisOrder) {
    const bad_line_length error(512, 514, 7);
    EXPECT_EQ(error.given, 512U);
    EXPECT_EQ(error.expected, 514U);
    EXPECT_EQ(error.line, 7U);
    EXPECT_TRUE((std::is_same_v<decltype(error.given), std::uint32_t>));
    EXPECT_TRUE((std::is_same_v<decltype(error.expected), std::uint32_t>));
    EXPECT_TRUE((std::is_same_v<decltype(error.line), std::uint32_t>));
}

TEST(Exceptions, BadLineLengthHasTheTextOfItsBase) { EXPECT_STREQ(bad_line_length(1, 2, 3).what(), std::exception().what()); }

}  // namespace
