#pragma once

/// The program as a test has it.
namespace program {

/// Brings it up as its start does when nobody has logged in yet, and puts the login window aside. Its clock stands.
void start();

/// Takes it down again and forgets all of its state.
void forget();

} // namespace program
