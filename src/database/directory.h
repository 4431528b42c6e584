// Questions about the Directory table answered from table text alone, and
// the parts of a folder path as a user types it.
#pragma once

#include "foundation/stringx.h"
#include "platform/platform.h"

// Replaces record with the Directory row of key. False when there is no row
// or on any error; never throws. The view is closed before return.
bool DirectoryRow(MSIHANDLE database, const _stringx<>& key, MSIHANDLE& record);

// The text behind the first '|' of a DefaultDir or file name, else all of it.
_stringx<> LongNameOf(const _stringx<>& defaultDir);

// Walks up from key to the directory right below TARGETDIR and sets out to
// it. Returns whether the walk moved: a top-level key gives false with out
// set, a chain broken by a missing row gives true with out unchanged.
bool FindTopDirectory(MSIHANDLE database, const _stringx<>& key, _stringx<>& out);

// "[TOP]first\second\..." from the long names of the chain up from key;
// "." names add nothing. Empty when key has no row.
_stringx<> BuildDirectoryPath(MSIHANDLE database, const _stringx<>& key);

// Tests a folder path typed by a user (drive path or network path). With
// rewrite, path receives the tidied text (trimmed, colon and backslash after
// the drive letter put in place).
bool NormalizeFolderPath(_stringx<>& path, bool rewrite);

// "C:" of a drive path, "\\server\share" of a network path, else empty.
_stringx<> FolderRoot(const _stringx<>& path);
// Up to and including the last backslash at or behind the root's end, else
// the root.
_stringx<> FolderPart(const _stringx<>& path);
// What follows FolderPart.
_stringx<> FolderRemainder(const _stringx<>& path);
