// Failures are values: an operation that can fail returns what it made, or why it could not.
#pragma once

#include <cassert>
#include <cstdint>
#include <utility>
#include <variant>

namespace nullprint {

// Why something failed, for developers: a static text, and the byte of the file that it is about.
struct Error {
    const char* what;
    std::uint64_t offset = 0;
};

// The value of an operation that has nothing to return but that it went well.
struct Done {};

template <typename T> class [[nodiscard]] Result {
public:
    Result(T value)
        : content(std::move(value))
    {
    }
    Result(Error error)
        : content(error)
    {
    }

    bool ok() const { return content.index() == 0; }

    // Only after ok().
    T& value() &
    {
        assert(ok());
        return *std::get_if<0>(&content);
    }
    const T& value() const&
    {
        assert(ok());
        return *std::get_if<0>(&content);
    }
    T&& value() &&
    {
        assert(ok());
        return std::move(*std::get_if<0>(&content));
    }

    // Only after !ok().
    const Error& error() const
    {
        assert(!ok());
        return *std::get_if<1>(&content);
    }

private:
    std::variant<T, Error> content;
};

} // namespace nullprint

// Yields the value of a Result, or returns its error from the function around it. Never nested.
#define NP_TRY(expression)                                                                         \
    __extension__({                                                                                \
        auto npResult = (expression);                                                              \
        if (!npResult.ok())                                                                        \
            return npResult.error();                                                               \
        std::move(npResult).value();                                                               \
    })
