/// \file
/// Marks what the shared library Tarnkit exports to its clients.
///
/// Everything else in the library has hidden visibility. A class that clients throw, catch or derive from
/// carries the mark itself, so that its type information is the same in every module.
#pragma once

#if defined(__ELF__)
/// On a class, function or object: the shared library exports it.
#define TARNKIT_API __attribute__((visibility("default")))
/// On a function or object of another module: that module exports it.
#define TARNKIT_MODULE_EXPORT __attribute__((visibility("default")))
/// On a replaced `operator new` or `delete`: all modules of a process share one definition.
#define TARNKIT_REPLACED TARNKIT_API
/// The library contains all members of the named instance.
#define TARNKIT_EXTERN_TEMPLATE(...) extern template __VA_ARGS__
#else // modules in the Windows format declare what they export and import
// Each module has its own.
#define TARNKIT_REPLACED
// The library does not export inline members: clients instantiate those for themselves.
#define TARNKIT_EXTERN_TEMPLATE(...) static_assert(true)
#if defined(TARNKIT_STATIC) // the library is part of the program
#define TARNKIT_API
#elif defined(TARNKIT_BUILDING)
#define TARNKIT_API __declspec(dllexport)
#else
#define TARNKIT_API __declspec(dllimport)
#endif
#define TARNKIT_MODULE_EXPORT __declspec(dllexport)
#endif
