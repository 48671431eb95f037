#pragma once

// The game's checksum: one MD5 digest for each file that counts, and one over all of them, so that two
// installations can tell whether they run the same data. A manifest says which files count:
//
//   directory = { name = "data/scripts" sub_directories = yes file_extension = ".lua" }
//   file = "data/main.settings"
//
// A directory entry takes the files below the directory whose names end with its extension (all files when
// there is none), in its subdirectories too when sub_directories is yes. Version-control folders (".svn",
// ".git") never count. The names are sorted, so that the checksum doesn't depend on the order in which
// directories list their files, and a file named twice counts once.
//
// The files are hashed on the task pools, and the final digest is the MD5 of the files' 16-byte digests in
// the order of the sorted names. CChecksumLog keeps which file gave which digest.
//
// Failures come back as text, one line each, in the Errors argument. Hashing opens files on the calling
// thread too (it helps the pools), so a game calls it from a loading thread or with main-thread opens allowed.

#include "qor_core/container/qor_array.h"
#include "qor_core/file.h"
#include "qor_core/md5.h"
#include "qor_core/qor_string.h"
#include "qor_core/qor_string_view.h"
#include "qor_core/qor_types.h"

// A manifest's directory entry.
struct SChecksumDirectory
{
    CString _Name;
    bool _bSubDirectories = false;
    // Empty for every file.
    CString _FileExtension;
};

struct SChecksumManifest
{
    CQorArray<SChecksumDirectory> _Directories;
    // The single files of the manifest's file entries.
    CQorArray<CString> _Files;
};

// Reads a manifest of the virtual file system, or one already open (a text file in a read mode). False, with
// a line appended to Errors, when it doesn't parse ("Error while reading manifest file", the reader's errors
// are logged with the file's name), when it has no directory entry, or when it can't be opened.
bool ReadManifest( CQorStringView FileName, SChecksumManifest& Out, CString& Errors );
bool ReadManifest( CFile& File, SChecksumManifest& Out, CString& Errors );

// Which file gave which digest, and the final digest over them.
class CChecksumLog
{
public:
    struct SEntry
    {
        CString _FileName;
        uint8 _Digest[MD5::RAW_SIZE];
    };

    void Clear();
    void Add( const CString& FileName, const MD5& Checksum );
    // REQUIRES: Final is finalized.
    void SetFinal( const MD5& Final );

    const CQorArray<SEntry>& GetEntries() const { return _Entries; }
    // Zeros until SetFinal.
    const uint8* GetFinalDigest() const { return _FinalDigest; }
    // The final digest as 32 lower-case hexadecimal characters; empty until SetFinal.
    CString GetFinalText() const;
    // One line per file, "<digest>  <name>\n", the digest in lower-case hexadecimal: md5sum's own format, so
    // that md5sum -c can check the files from the root of the tree.
    CString GetText() const;

private:
    CQorArray<SEntry> _Entries;
    uint8 _FinalDigest[MD5::RAW_SIZE] = {};
    bool _bHasFinal = false;
};

// The sorted names of the files the manifest counts. False when a directory or a file is missing: each named
// on a line of its own ("Could not find <name>", "Could not find directory <name>"), then "Could not find all
// files!" and "Could not find directory info!" as the case may be.
bool CollectChecksumFiles( const SChecksumManifest& Manifest, CQorArray<CString>& Files, CString& Errors );

// Hashes every file on the task pools into Checksums (one finalized state per name, in the same order) and
// folds the digests, in that order, into Final. False when a file couldn't be read: named in Errors, its state
// finalized over what was read.
bool HashChecksumFiles( const CQorArray<CString>& Files, CQorArray<MD5>& Checksums, MD5& Final, CString& Errors );

// Collects the files, hashes them and records the result in Log (emptied first). False, with Errors told, when
// files are missing (nothing is hashed then) or unreadable.
bool ComputeChecksum( const SChecksumManifest& Manifest, CChecksumLog& Log, CString& Errors );
