#pragma once
// The language runtime the game was written against: its number types, the one random
// generator, rounding, the program's place and version, message and input boxes, the end
// of the program, and the run-time error that reaches the event loop.

#include <QString>
#include <cstdint>
#include <functional>
#include <stdexcept>
#include <string>

namespace runtime {

using Integer = std::int16_t;
using Long = std::int32_t;
using Single = float;
// True is all bits set; "any non-zero counts" where the game tests for a value other than 0.
using Boolean = std::int16_t;
inline constexpr Boolean True = -1;
inline constexpr Boolean False = 0;
inline constexpr Boolean Bool(bool b) {
    return b ? True : False;
}

// A run-time error as the game's handlers see it: a number and a description.
class RuntimeError : public std::runtime_error {
  public:
    RuntimeError(Long number, const QString& description);
    Long number() const { return number_; }
    QString description() const { return description_; }

  private:
    Long number_;
    QString description_;
};

// Well-known error numbers of the runtime.
inline constexpr Long ErrOverflow = 6;
inline constexpr Long ErrSubscript = 9;
inline constexpr Long ErrFileNotFound = 53;
inline constexpr Long ErrPathAccess = 75;
inline constexpr Long ErrInvalidPicture = 481;

// The one uniform generator: a Single in [0, 1).
Single Rnd();
// Seeds the generator from a value such as the seconds since midnight.
void Randomize(Single seed);

// Conversion to whole numbers: nearest, halves to the even neighbour; out of range is
// the runtime's overflow error.
Integer CInt(double value);
Long CLng(double value);

// Seconds since midnight, local time, with fractions.
Single Timer();

// Directory of the program file, without a trailing separator.
QString AppPath();
// Joins the base directory and a relative name in the game's backslash form.
QString JoinPath(const QString& base, const QString& relative);

struct Version {
    int Major, Minor, Revision;
};
inline constexpr Version App{1, 1, 0};
inline constexpr const char* Title = "The Morvel Bird Game";

// Message box styles the game uses.
inline constexpr int vbOKOnly = 0;
inline constexpr int vbCritical = 16;

// A modal message box under the application's title.
void MsgBox(const QString& prompt, int style = vbOKOnly);
// A modal input box; "" when cancelled.
QString InputBox(const QString& prompt, const QString& title);

// Thrown by End() when the end hook returns, so that no further code of the caller runs.
struct ProgramEnded {};

// Ends the program at once with the exit status given: no further handler runs. Tests replace
// the hook; when it returns, End() throws ProgramEnded, which Guard() swallows.
[[noreturn]] void End(int status = 0);

// Every event-loop entry runs through this: an unhandled run-time error is reported in a
// message box and ends the program with status 1.
void Guard(const std::function<void()>& handler);

} // namespace runtime
