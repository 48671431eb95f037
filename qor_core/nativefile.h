#pragma once

// CNativeFile: a CFile over a file of the operating system, outside the virtual file system, for the
// library's own plain files such as log files. It reads and writes through one buffer of 64 KB: in a read
// mode the buffer holds bytes ahead of the position, in a write mode bytes not yet handed to the system,
// which Flush, Seek, Reopen and the destructor write out. A failed open leaves a file that is not open,
// writes nothing and reads nothing; a short write fails the file until Rewind. It never throws.
//
// The text interface follows CMemoryFile: at the end, and for a zero byte, GetChar gives 255 and IsGood
// goes false.

#include "qor_core/file.h"
#include "qor_core/platform/qor_native_file.h"
#include "qor_core/qor_scopedptr.h"

class CNativeFile : public CFile
{
public:
    // Mode OPEN_READ reads, OPEN_WRITE creates or truncates, OPEN_WRITE_APPEND creates or writes behind the end.
    CNativeFile( const char* pPath, uint32 Type, uint32 Mode );
    // Writes out what is buffered, and closes.
    ~CNativeFile() override;
    CNativeFile( const CNativeFile& ) = delete;
    CNativeFile& operator=( const CNativeFile& ) = delete;

    // REQUIRES: a text file in a read mode.
    char GetChar() override;
    // Writes out what is buffered, closes, and opens the same path again in Mode.
    bool Reopen( uint32 Type, uint32 Mode ) override;
    // REQUIRES: a read mode. Reads exactly Size bytes, or returns false and leaves the position at the end.
    bool Read( void* pData, int32 Size ) override;
    // Replaces the blob's contents by the whole file and leaves the position at the end. REQUIRES: a read mode.
    bool ReadBlob( CBlob& Blob ) override;
    // REQUIRES: a write mode.
    void Write( const void* pData, int32 Size ) override;
    // Open, not failed, and the text interface not at its end.
    bool IsGood() const override;
    // REQUIRES: Position <= GetSize().
    bool Seek( uint64 Position ) override;
    bool SeekEnd() override;
    // Back to the start, and the failure flag cleared.
    bool Rewind() override;
    bool IsEof() const override;
    int64 GetPosition() const override;
    // The size in storage with the buffered bytes counted.
    int64 GetSize() const override;
    uint64 GetModifiedTime() const override;
    bool Exists() const override;

    bool IsOpen() const { return _Handle != NPlatform::INVALID_FILE_HANDLE; }
    bool HasFailed() const { return _bFailed; }
    // Hands the buffered bytes to the system. False when the file is not open or a write fell short.
    bool Flush() override;

private:
    static constexpr int32 c_BufferSize = 1 << 16;

    void Open();
    void Close();
    // Read mode: refills the buffer from the system position. False at the end or on an error.
    bool Fill();

    NPlatform::FileHandle _Handle = NPlatform::INVALID_FILE_HANDLE;
    CQorScopedPtrImpl<uint8, true> _pBuffer;
    // Read mode: [_BufferPos, _BufferEnd) are the next bytes of the file. Write mode: [0, _BufferEnd) wait.
    int32 _BufferPos = 0;
    int32 _BufferEnd = 0;
    // Where the system's position stands: behind the read-ahead, or in front of the waiting bytes.
    int64 _SystemPosition = 0;
    bool _bFailed = false;
};
