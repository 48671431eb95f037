#pragma once

// The path tokens: symbolic names for the game's directories, so that code asks for GetPath( data_path ) and
// the settings decide where that is. "paths.settings" holds the paths every run needs, and
// "paths_checksummed.settings" the paths whose contents count towards the game's checksum; both sit at the
// root of the virtual file system and hold statements "token = path", read by the text lexer and the reader.
// Both files fill one table, so GetPath serves either kind.
//
// The set of path tokens is the game's, fixed when it is built: identifiers of its static token table (the
// lexer's GetStaticToken... functions), handed over once through SetPathTokens. A key that isn't one of them is
// logged and passed over; a token given twice keeps its first path; a path that doesn't exist is reported and
// kept all the same (it may be made later, such as a folder for saves). The token tables must be created
// (CreateTokens) before a settings file is read, or no key is a token.
//
// Loading belongs to start-up; GetPath may be called from any thread at any time.

#include "qor_core/container/qor_array.h"
#include "qor_core/persistence/lexer.h"
#include "qor_core/qor_string.h"
#include "qor_core/qor_string_view.h"
#include "qor_core/qor_types.h"

#include <span>

// The game's path tokens. REQUIRES: the array lives as long as the table is used (a constexpr array of the
// game's); set before the settings are loaded. Keeps the paths loaded so far.
void SetPathTokens( std::span<const uint32> Tokens );
bool IsPathToken( uint32 Token );

// Reads "paths.settings" into the table. False when the file isn't there ("Could not find "paths.settings".
// Files will fail to load.") or when it held statements the reader couldn't parse.
bool LoadPaths();
// Reads "paths_checksummed.settings" into the table, and notes its tokens as checksummed. False when the file
// isn't there ("... No paths will be checksummed.", paths stay usable) or didn't parse.
bool LoadChecksummedPaths();

// The path of a token. REQUIRES: the token has a path ("could not find path for token "%s""); empty otherwise.
CString GetPath( uint32 Token );
// Whether the token has a path, without a report.
bool HasPath( uint32 Token );
// The tokens "paths_checksummed.settings" gave a path, in the order of the file.
CQorArray<uint32> GetChecksummedPathTokens();
// Forgets every path, for a reload.
void ClearPaths();

// A text lexer over a file of the virtual file system, read whole into memory once, without a UTF-8 byte order
// mark, and carrying the file's name for the reader's reports. Null, with PhysFS's reason in Reason, when the
// file can't be read.
CTextLexer* CreateVFSTextLexer( CQorStringView FileName, CString& Reason );
