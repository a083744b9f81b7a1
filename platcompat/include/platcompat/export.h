// PLATCOMPAT_API: the mark of every name that libplatcompat exports.
//
// The library is built with hidden visibility by default, so only the names
// that carry this mark reach its dynamic symbol table: the Win32, COM and ATL
// functions, the exported classes and data. Their use from other modules is
// the library's binary interface; everything else stays private to it. On
// this platform the same attribute serves the library's build and its users.
#pragma once

#define PLATCOMPAT_API __attribute__((visibility("default")))
