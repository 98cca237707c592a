#pragma once

#include <optional>
#include <utility>
#include <variant>

namespace kelvaris {

/// Wraps an error on its way into a Result.
template <class E>
class Unexpected {
public:
    explicit Unexpected(E error) : error_(std::move(error)) {}
    const E& error() const& { return error_; }
    E&& error() && { return std::move(error_); }

private:
    E error_;
};

template <class E>
Unexpected(E) -> Unexpected<E>;

/// A value or the reason why there is none. Spelled like std::expected, which this compiler lacks.
template <class T, class E>
class [[nodiscard]] Result {
public:
    using value_type = T;
    using error_type = E;

    Result(T value) : state_(std::in_place_index<0>, std::move(value)) {}
    template <class G>
    Result(Unexpected<G> unexpected) : state_(std::in_place_index<1>, std::move(unexpected).error()) {}

    bool has_value() const { return state_.index() == 0; }
    explicit operator bool() const { return has_value(); }

    T& value() & { return std::get<0>(state_); }
    const T& value() const& { return std::get<0>(state_); }
    T&& value() && { return std::get<0>(std::move(state_)); }
    T& operator*() & { return value(); }
    const T& operator*() const& { return value(); }
    T&& operator*() && { return std::get<0>(std::move(state_)); }
    T* operator->() { return &value(); }
    const T* operator->() const { return &value(); }

    E& error() & { return std::get<1>(state_); }
    const E& error() const& { return std::get<1>(state_); }
    E&& error() && { return std::get<1>(std::move(state_)); }

    template <class U>
    T value_or(U&& fallback) const& {
        return has_value() ? value() : static_cast<T>(std::forward<U>(fallback));
    }

    /// The value alone, for callers to whom the reason does not matter.
    std::optional<T> toOptional() && {
        if (!has_value()) return std::nullopt;
        return std::move(*this).value();
    }

private:
    std::variant<T, E> state_;
};

template <class E>
class [[nodiscard]] Result<void, E> {
public:
    using value_type = void;
    using error_type = E;

    Result() = default;
    template <class G>
    Result(Unexpected<G> unexpected) : error_(std::move(unexpected).error()) {}

    bool has_value() const { return !error_.has_value(); }
    explicit operator bool() const { return has_value(); }
    E& error() & { return *error_; }
    const E& error() const& { return *error_; }
    E&& error() && { return std::move(*error_); }

private:
    std::optional<E> error_;
};

}  // namespace kelvaris
