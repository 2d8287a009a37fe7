#pragma once

#include <optional>
#include <utility>
#include <variant>

/// Marks a value as the failure side of a Result: `return Failure{SomeError{…}};`.
template<typename Error>
struct Failure
{
    Error error;
};

template<typename Error>
Failure(Error) -> Failure<Error>;

/// Either a value or an error, never both and never neither. The house's only way to report a
/// failure across a folder; nothing throws.
template<typename Value, typename Error>
class [[nodiscard]] Result
{
public:
    // Implicit on purpose: `return value;` and `return Failure{error};` both read naturally.
    Result(Value value) : m_state(std::in_place_index<0>, std::move(value)) {}
    Result(Failure<Error> failure) : m_state(std::in_place_index<1>, std::move(failure.error)) {}

    [[nodiscard]] bool ok() const noexcept { return m_state.index() == 0; }
    explicit operator bool() const noexcept { return ok(); }

    /// Only when ok().
    [[nodiscard]] const Value &value() const & { return *std::get_if<0>(&m_state); }
    [[nodiscard]] Value &value() & { return *std::get_if<0>(&m_state); }
    // By value: a reference into a temporary would dangle in a range-based for.
    [[nodiscard]] Value value() && { return std::move(*std::get_if<0>(&m_state)); }

    /// Only when not ok().
    [[nodiscard]] const Error &error() const { return *std::get_if<1>(&m_state); }

private:
    std::variant<Value, Error> m_state;
};
