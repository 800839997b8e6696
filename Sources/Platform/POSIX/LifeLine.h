#pragma once

#include "Platform/Time.h"

/// How one process learns how another one fares: the other writes to a pipe as long as it works, and says so when it
/// ends as it should.
namespace halcyra::LifeLine {

/// What is written: a sign of life, and the word that nothing is left to be done.
inline constexpr char signOfLife = '.';
inline constexpr char lastSign = 'q';

enum class Ending { farewell, gone, silent };

/// Waits at the reading end until the other process has said its farewell, has gone without (the pipe was closed), or
/// has given no sign of life for `patience`, measured anew from each sign.
Ending await(int readEnd, Seconds patience);

}  // namespace halcyra::LifeLine
