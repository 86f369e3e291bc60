#pragma once

#include <stdexcept>
#include <string>

#include "Handle.h"

namespace updater {

/// What a person has to be told.
class UpdateError : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// The person at the desktop. An administrator's consent may have started the updater under another account, and in any
/// case with more rights than Quillory is to have; the desktop's shell knows who the person is.
class Person {
public:
    Person();

    /// True if this program runs with rights that the person does not have without a consent.
    bool hasFewerRights() const;

    /// True if the person could, without a consent, change the folder or the file, or put another in its place.
    bool canChange(const std::wstring& path) const;

    /// The application data folder, without a backslash at its end. Throws UpdateError if it cannot be found out.
    std::wstring dataFolder() const;

    /// Starts a program as the person does, without the updater's rights: with the shell's token, else through the
    /// shell. Where there is no shell, it starts with the updater's. Throws std::system_error.
    void start(const std::wstring& program) const;

    /// Starts a program with an argument and the person's rights. Throws UpdateError if that cannot be done.
    void startWithRights(const std::wstring& program, const std::wstring& argument) const;

    /// As long as it stands, this thread does what it does with the person's rights.
    class Rights {
    public:
        explicit Rights(const Person& person);
        ~Rights();
        Rights(const Rights&) = delete;
        Rights& operator=(const Rights&) = delete;
    };

private:
    Handle token; ///< the shell's; none if there is no shell, or it may not be asked
};

/// Starts a program with this one's rights. Throws std::system_error.
void startAsUpdater(const std::wstring& program, const std::wstring& argument);

} // namespace updater
