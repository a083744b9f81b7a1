// Path text and file-system helpers: separators, name splitting, path
// normalisation, directory creation and removal, symbolic links ("directory
// junctions") and the expansion of the path shortcuts @DATA, @KEYS, @LOG,
// @TEMP and @UD into directories below the instrument's runtime directory.
//
// The system separator is "/"; a backslash is accepted as a separator
// everywhere and converted where a path is normalised. Paths reach POSIX as
// UTF-8 (code page 0); a path that contains a NUL character or cannot be
// converted is refused (false) rather than silently cut short.
//
// All functions are free functions of namespace KxTamarind and keep no state
// beyond two separator strings created on first use; they may be called from
// any thread. Failures are reported by the boolean or HRESULT result; only
// ReplacePathShortcuts raises (ThrowError) when a runtime directory cannot be
// obtained.
#pragma once

#include <platcompat.h>

#include "KxExport.h"

#include <string>

#include "CKxString.h"

namespace KxTamarind {

// --- Separators and joining ----------------------------------------------------

// "/" and "\" (one backslash); process-wide, created on first use.
KXTAMARIND_API const CKxString& GetSeparator();
KXTAMARIND_API const CKxString& GetNonSystemSeparator();

// Every backslash becomes "/".
KXTAMARIND_API void ConvertSeparators(CKxString& path);
// Removes trailing "/" and "\" characters, but never the first character: a
// path made only of separators keeps its first one ("/" stays "/", "///"
// becomes "/").
KXTAMARIND_API void DeleteTrailingSeparators(CKxString& path);
// Appends "/" unless the path already ends with "/" (an empty path becomes
// "/").
KXTAMARIND_API void AppendSeparator(CKxString& path);
// `a` and `b` joined with exactly one separator between them: a separator
// ("/" or "\") at the end of `a` and one at the start of `b` are not doubled,
// "/" is added when neither has one. An empty side gives the other side
// unchanged.
KXTAMARIND_API CKxString ConcatWithSeparator(const CKxString& a, const CKxString& b);

// --- Normalisation ----------------------------------------------------------------

// The lexical normal form of a path (no file-system access, no shortcut
// expansion):
// - backslashes become "/";
// - a leading "//" is kept (as ReplacePathShortcuts keeps it), any other run
//   of separators becomes one "/";
// - "." components are removed;
// - "name/.." pairs are removed; a ".." that would climb above the start is
//   kept for a relative path ("../a" stays, "a/../../b" gives "../b") and
//   dropped for an absolute one ("/.." gives "/");
// - a trailing separator is removed, except for the root ("/" or "//");
// - a relative path that cancels out gives "."; an empty path stays empty.
KXTAMARIND_API CKxString CleanPath(const CKxString& path);
// CleanPath, then exactly one trailing "/" ("a/b" gives "a/b/", "/" stays
// "/", "." gives "./"); an empty path stays empty (never the root).
KXTAMARIND_API CKxString CanonifyDir(const CKxString& path);

// --- Directories --------------------------------------------------------------------

// True when the directory exists afterwards: already there (DirExists), or
// created with mode 0777 (less the process umask).
KXTAMARIND_API bool MkDir(const CKxString& path);
// Creates every directory on the way: backslashes count as "/", and for
// every separator after the first character the prefix before it is created
// (mode 0700, errors ignored). With `pathEndsWithFile` the last component is
// a file name and is not created; the result is whether the directory part
// exists (true when there is no separator). Otherwise the whole path is
// created too and the result is whether it exists.
KXTAMARIND_API bool RecursiveCreateDir(const CKxString& path, bool pathEndsWithFile = false);
// Removes a directory tree. Symbolic links are never followed: a link inside
// the tree (to a file or to a directory anywhere) is removed as a link and
// its target is left alone; a path that is itself a link or a file is
// removed as such. Entries that cannot be removed are skipped, so the walk
// always ends; trees deeper than 256 levels are not descended further.
// Returns false when the path does not exist (lstat fails) or something
// remained, true when the whole tree is gone.
KXTAMARIND_API bool RecursiveDelDir(const CKxString& path);

// stat succeeds and reports a directory (links followed). Null: false.
KXTAMARIND_API bool IsDirectory(const wchar_t* path);
// lstat succeeds (a dangling link counts). On failure *error (when given)
// receives errno, on success 0.
KXTAMARIND_API bool IsFileSystemObject(const wchar_t* path, unsigned long* error = nullptr);

// --- Directory junctions (symbolic links) -------------------------------------------

// True when lstat reports a symbolic link. When `target` is given, the link
// text (readlink, UTF-8) is written there NUL-terminated; if it needs more
// than `targetSize` characters (terminator included), `target` gets an empty
// text and *error ERROR_INSUFFICIENT_BUFFER. On failure of lstat or readlink
// *error receives errno; otherwise 0.
KXTAMARIND_API bool IsDirectoryJunction(const wchar_t* path, wchar_t* target = nullptr,
                                        unsigned long targetSize = 0,
                                        unsigned long* error = nullptr);
// symlink(target, link): true on success; *error receives errno (0 on
// success). The target is not required to exist.
KXTAMARIND_API bool CreateDirectoryJunction(const wchar_t* link, const wchar_t* target,
                                            unsigned long* error = nullptr);
// unlink(link): true on success; *error receives errno (0 on success). With
// `onlyIfJunction` a path that is not a symbolic link is refused (EINVAL), so
// that a regular file is never deleted through this call.
KXTAMARIND_API bool RemoveDirectoryJunction(const wchar_t* link, unsigned long* error = nullptr,
                                            bool onlyIfJunction = true);

// --- Predicates ----------------------------------------------------------------------

// stat succeeds and the object is not a directory.
KXTAMARIND_API bool FileExists(const CKxString& path);
// stat succeeds and the object is a directory.
KXTAMARIND_API bool DirExists(const CKxString& path);
// A directory the process may list, enter and create entries in
// (access R_OK | W_OK | X_OK).
KXTAMARIND_API bool DirAccessible(const CKxString& path);
// "." or "..".
KXTAMARIND_API bool IsDot(const CKxString& name);
// Neither starts with a separator nor with a path shortcut that
// ReplacePathShortcuts expands. The empty path is relative.
KXTAMARIND_API bool IsRelativePath(const CKxString& path);
// Contains a separator.
KXTAMARIND_API bool HasPath(const CKxString& path);
// Two separators followed by a name ("//server/share", "\\server").
KXTAMARIND_API bool IsUncFormat(const CKxString& path);
// Drive letters do not exist on this system: always false.
KXTAMARIND_API bool IsDriveFormat(const CKxString& path);

// --- Name splitting -------------------------------------------------------------------
// The file name is the text after the last separator ("/" or "\").
// "dir/archive.tar.gz": GetFilenameOfPath "archive.tar.gz", GetPathOfFilename
// "dir", GetBaseName "archive" (up to the first dot), GetCompleteBaseName
// "archive.tar" (up to the last dot), GetExtension "gz" (after the last dot;
// empty without a dot). A name starting with a dot (".profile") has an empty
// base name and the extension "profile".
KXTAMARIND_API CKxString GetFilenameOfPath(const CKxString& path);
// The text before the last separator; the root "/" when that separator is the
// first character; empty without a separator.
KXTAMARIND_API CKxString GetPathOfFilename(const CKxString& path);
KXTAMARIND_API CKxString GetBaseName(const CKxString& path);
KXTAMARIND_API CKxString GetCompleteBaseName(const CKxString& path);
KXTAMARIND_API CKxString GetExtension(const CKxString& path);
// The path in double quotes, unless it already starts and ends with one
// (length 2 or more).
KXTAMARIND_API CKxString AddQuotes(const CKxString& path);

// --- Runtime directories and shortcuts --------------------------------------------------

// Asks the embedded shell for the runtime directory of `subDirectory` ("data",
// "log", ...) and hands it out as a new BSTR (the caller frees it). E_POINTER
// for a null argument or when no device table is installed, E_OUTOFMEMORY
// when the BSTR cannot be allocated, else S_OK.
KXTAMARIND_API HRESULT GetRuntimeDir(const wchar_t* subDirectory, BSTR* result);
// Expands a leading shortcut ("@DATA", "@KEYS", "@LOG", "@TEMP", "@UD",
// case-sensitive, followed by the end or a separator) into runtime directory
// + "\" + the rest, then turns every backslash into "/" and reduces every
// "//" after the first character. Other paths are only normalised that way.
// Returns S_OK; raises (ThrowError, condition "HResult was invalid", the
// failing result as code) when the runtime directory cannot be obtained.
KXTAMARIND_API HRESULT ReplacePathShortcuts(std::wstring& path);

} // namespace KxTamarind
