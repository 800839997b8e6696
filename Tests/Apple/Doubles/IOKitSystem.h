#pragma once

#include "Platform/IOKit.h"

namespace halcyra::test {

/// What the doubles of IOKit let a test do: a driver behind them, and what the kernel announces.
namespace IOKitSystem {

/// Null: no driver.
void setDriver(IOKit* driver);
/// Matching dictionaries that nobody has taken over.
int openDictionaries();

enum class PowerMessage { mayISleep, willSleep, wakes };

/// Tells whoever has registered: the number of the announcement.
long announce(PowerMessage message);
bool isAllowed(long announcement);
/// Whether anybody is registered, or holds what registering gave.
bool isObserved();

}  // namespace IOKitSystem

}  // namespace halcyra::test
