#pragma once

#define err_system(x) static_cast<int>((static_cast<unsigned>(x) & 0x3f) << 26)
#define err_sub(x) (((x)&0xfff) << 14)
