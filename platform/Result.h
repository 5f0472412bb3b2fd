#pragma once

#include <QString>

#include <optional>
#include <utility>
#include <variant>

// Why something did not work, in a sentence the sysop can read.
struct Failure {
    QString reason;
};

// The outcome of an operation that can fail: a value, or the reason it failed. Dropping one
// unread is a compile error, so no failure goes unnoticed.
template <typename T = void> class [[nodiscard]] Result {
  public:
    Result(T value) : state_(std::move(value)) {}
    Result(Failure failure) : state_(std::move(failure)) {}

    bool ok() const { return std::holds_alternative<T>(state_); }
    explicit operator bool() const { return ok(); }
    const T& value() const& { return std::get<T>(state_); }
    T& value() & { return std::get<T>(state_); }
    T&& value() && { return std::get<T>(std::move(state_)); }
    const T* operator->() const { return &value(); }
    T* operator->() { return &value(); }
    const QString& error() const { return std::get<Failure>(state_).reason; }

  private:
    std::variant<T, Failure> state_;
};

template <> class [[nodiscard]] Result<void> {
  public:
    Result() = default;
    Result(Failure failure) : failure_(std::move(failure)) {}

    bool ok() const { return !failure_; }
    explicit operator bool() const { return ok(); }
    const QString& error() const { return failure_->reason; }

  private:
    std::optional<Failure> failure_;
};

// Passes a failure on with the type of the caller's own result.
template <typename T> Failure failureOf(const Result<T>& result) {
    return Failure{result.error()};
}
