// KXTAMARIND_API: the mark of every name that the common base library
// exports.
//
// The library is built with hidden visibility by default, so only the names
// that carry this mark reach its dynamic symbol table: the classes and free
// functions of namespace KxTamarind, the interfaces whose type information
// components need across modules (catching a thrown CErrorObject*, a
// dynamic_cast to a library class), and the interface identifiers. On this
// platform the same attribute serves the library's build and its users.
#pragma once

#define KXTAMARIND_API __attribute__((visibility("default")))
