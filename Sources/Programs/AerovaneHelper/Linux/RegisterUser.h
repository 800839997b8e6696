#pragma once

#include <string>

#include "Platform/Linux/RuntimeLayout.h"

namespace halcyra {

/// Registers and approves the helper for one user, named by name or number, in place of whoever had it before. What
/// polkit's `pkexec` runs may name nobody but the user who asked. Prints what was done, or on standard error why it was
/// not. The exit status: 0, or 1.
int runRegister(const RuntimeLayout& layout, const std::string& user);

/// Takes the permission back: the helper does not start any more, and nobody but root may call it.
int runUnregister(const RuntimeLayout& layout);

}  // namespace halcyra
