#pragma once

// CFile: the one stream every reader and writer of the library goes through. It offers a character
// interface for the text lexers (GetChar, UngetChar, with the line number kept here), a block interface for
// binary data, and positioning. A file is opened for reading or for writing, never both, and is binary
// (type 0) or text (any other type). The virtual operations keep their order: it is the layout other
// modules were built against.
//
// The line number moves when the character behind a newline is asked for, not when the newline itself is
// given out, so that a lexer reporting an error on a newline names the line the newline ends.
// A file object belongs to one thread at a time.

#include "qor_core/qor_string.h"
#include "qor_core/qor_types.h"

class CBlob;

class CFile
{
public:
    enum : uint32
    {
        OPEN_READ = 0,
        OPEN_WRITE = 1,
        OPEN_WRITE_APPEND = 2,
    };

    // Receives the bytes of ReadRange block by block.
    using FReadRangeCallback = void ( * )( void* pUser, const void* pData, int32 Size );

    virtual ~CFile() = default;

    // The next character of a text file. REQUIRES: a text file in a read mode.
    virtual char GetChar() = 0;
    // Makes the next GetChar give the last character again. REQUIRES: a text file in a read mode.
    virtual void UngetChar( char Char );
    // Starts over with a new type and mode; what the contents become depends on the mode.
    virtual bool Reopen( uint32 Type, uint32 Mode ) = 0;
    // Reads exactly Size bytes, or returns false.
    virtual bool Read( void* pData, int32 Size ) = 0;
    // Replaces the blob's contents by the whole file.
    virtual bool ReadBlob( CBlob& Blob ) = 0;
    // Reads four bytes in the processor's order, through Read.
    virtual bool ReadInt32( int32* pValue );
    // The typed writes go through Write, so that a class's rules for Write (its mode, its room, its failure)
    // hold for them too: the blob's bytes, four bytes in the processor's order, one byte.
    virtual void WriteBlob( const CBlob& Blob );
    virtual void WriteInt32( int32 Value );
    virtual void WriteUInt8( uint8 Value );
    virtual void Write( const void* pData, int32 Size ) = 0;
    virtual bool IsGood() const = 0;
    virtual void SetType( uint32 Type ) { _Type = Type; }
    virtual bool Seek( uint64 Position );
    virtual bool SeekEnd();
    virtual bool Rewind();
    virtual bool IsEof() const;
    virtual int64 GetPosition() const = 0;
    virtual int64 GetSize() const = 0;
    // The last write time of the file, seconds since 1970; 0 when there is none.
    virtual uint64 GetModifiedTime() const;
    // The Fletcher-style sum of the first MaxSize bytes, or of all with -1: the first sum in the high half.
    virtual uint32 GetChecksum( int32 MaxSize );
    // Hands the bytes of [Start, End) to Callback, in blocks; End below 0 means the end of the file.
    // REQUIRES: a read mode and 0 <= Start <= End <= GetSize(). Leaves the position at End.
    virtual bool ReadRange( int32 Start, int32 End, FReadRangeCallback Callback, void* pUser );
    // Whether the file exists in storage under its name.
    virtual bool Exists() const;
    // Hands what the file holds back to storage. False when that failed; true for a file that holds nothing back.
    virtual bool Flush();

    bool IsBinary() const { return _Type == 0; }
    bool IsWriteMode() const { return _Mode != OPEN_READ; }
    uint32 GetType() const { return _Type; }
    uint32 GetMode() const { return _Mode; }
    int32 GetLineNumber() const { return _LineNumber; }
    const CString& GetFileName() const { return _FileName; }

protected:
    CFile( uint32 Type, uint32 Mode ) : _Type( Type ), _Mode( Mode ) {}
    CFile( const CFile& ) = default;
    CFile& operator=( const CFile& ) = delete;

    // The state of a file just opened: every Reopen starts with it.
    void ResetFile( uint32 Type, uint32 Mode );

    int32 _LineNumber = 1;
    // The last character given out.
    char _LastChar = 0;
    // The next GetChar gives _LastChar again.
    bool _bUnget = false;
    uint32 _Type;
    uint32 _Mode;
    CString _FileName;
};

struct SVFSFile;

// CArchiveFile: a file of the virtual file system (virtualfilesystem.h), read and written through a 1 MiB
// buffer. Failures the caller can't go on from throw CQorFileException: a failed open ("Could not open file: "
// and the name) and a short write ("Failed writing file"). At the end, or on a read error, GetChar gives -1
// (255) and the file is no longer good.
class CArchiveFile : public CFile
{
public:
    static constexpr uint64 c_BufferSize = 0x100000;

    // Opens FileName through VFSOpen. REQUIRES: '/' only in the name.
    CArchiveFile( const CString& FileName, uint32 Type, uint32 Mode );
    // Takes over a ready handle for reading, as text (type 1). REQUIRES: pHandle.
    explicit CArchiveFile( SVFSFile* pHandle );
    ~CArchiveFile() override;
    CArchiveFile( const CArchiveFile& ) = delete;
    CArchiveFile& operator=( const CArchiveFile& ) = delete;

    char GetChar() override;
    // Closes and opens the same name again. REQUIRES: an open handle ("No file to reopen").
    bool Reopen( uint32 Type, uint32 Mode ) override;
    bool Read( void* pData, int32 Size ) override;
    bool ReadBlob( CBlob& Blob ) override;
    // The writes REQUIRE a write mode, and in text mode blocks below 128 KiB.
    void Write( const void* pData, int32 Size ) override;
    bool IsGood() const override;
    bool Seek( uint64 Position ) override;
    bool SeekEnd() override;
    bool Rewind() override;
    bool IsEof() const override;
    int64 GetPosition() const override;
    int64 GetSize() const override;
    uint64 GetModifiedTime() const override;
    uint32 GetChecksum( int32 MaxSize ) override;
    bool Exists() const override;
    // Writes out the 1 MiB buffer.
    bool Flush() override;

    SVFSFile* GetHandle() const { return _pHandle; }

private:
    void WriteChecked( const void* pData, uint64 Size, const char* pFailure );
    friend void WriteString( CFile& File, CQorStringView Text );

    SVFSFile* _pHandle = nullptr;
    bool _bEof = false;
};

// Writes the text's characters, without a terminating zero. To a CArchiveFile, a short write throws
// CQorFileException "Failed writing full string".
void WriteString( CFile& File, CQorStringView Text );

namespace NFile
{
// Folds Size bytes into the two running sums of the file checksum: for each byte A += byte, B += A, each
// sum brought back below 65536 by subtracting 65535 when it passes 65535.
void AddToChecksum( uint32& SumA, uint32& SumB, const void* pData, int64 Size );
inline uint32 CombineChecksum( uint32 SumA, uint32 SumB )
{
    return ( SumA << 16 ) | SumB;
}
} // namespace NFile
