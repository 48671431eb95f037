#pragma once

// CMemoryFile: a CFile over memory. It serves either a CBlob, which grows as it is written, or a fixed
// buffer of the caller's, which refuses what doesn't fit. It reports by return values and assertions and
// never throws. The position counts from the start of the blob or buffer; the file has no name unless
// SetFileName gives it one.
//
// The text interface treats a zero byte as the end of the file: GetChar gives 255 for it, as it does at the
// end, and IsGood goes false. A failed write sets a failure flag that sticks until Rewind.

#include "qor_core/blob.h"
#include "qor_core/file.h"

class CMemoryFile : public CFile
{
public:
    // A file with no contents and no storage, in read mode.
    explicit CMemoryFile( uint32 Type );
    // Over a blob, positioned as Reopen positions for the mode: OPEN_WRITE empties the blob. With bOwnsBlob
    // the file deletes the blob. REQUIRES: pBlob is not null.
    CMemoryFile( CBlob* pBlob, uint32 Type, uint32 Mode, bool bOwnsBlob );
    // Reads a blob, which must outlive the file. The file is read-only: Reopen refuses the write modes.
    CMemoryFile( const CBlob& Blob, uint32 Type );
    // Writes into a fixed buffer of Capacity bytes, which starts empty and must outlive the file.
    CMemoryFile( uint8* pBuffer, int32 Capacity, uint32 Type, uint32 Mode );
    // Reads a constant block of Size bytes, which must outlive the file. Read-only, as over a const blob.
    CMemoryFile( const void* pData, int32 Size, uint32 Type );
    // An owned blob is copied, and the copy owned; anything else is shared.
    CMemoryFile( const CMemoryFile& Other );
    ~CMemoryFile() override;

    char GetChar() override;
    bool Reopen( uint32 Type, uint32 Mode ) override;
    bool Read( void* pData, int32 Size ) override;
    bool ReadBlob( CBlob& Blob ) override;
    // A blob takes everything: bytes inside its size are overwritten, the rest appended. A fixed buffer takes
    // all or nothing: what doesn't fit fails the file and writes not a byte. REQUIRES: a write mode.
    void Write( const void* pData, int32 Size ) override;
    bool IsGood() const override;
    // REQUIRES: Position <= GetSize().
    bool Seek( uint64 Position ) override;
    bool SeekEnd() override;
    // Back to the start, and the failure flag cleared.
    bool Rewind() override;
    bool IsEof() const override;
    int64 GetPosition() const override { return _Position; }
    int64 GetSize() const override { return _pBlob ? _pBlob->GetSize() : _Size; }
    // Rewinds and sums up to MaxSize bytes, leaving the position behind them. REQUIRES: MaxSize <= GetSize().
    uint32 GetChecksum( int32 MaxSize ) override;
    // One call of Callback, straight from memory. REQUIRES: 0 <= Start <= End <= GetSize().
    bool ReadRange( int32 Start, int32 End, FReadRangeCallback Callback, void* pUser ) override;

    // The storage: the blob's bytes or the buffer.
    const uint8* GetData() const { return _pBlob ? _pBlob->GetData() : _pBuffer; }
    // The blob written to or read, or null over a buffer.
    CBlob* GetBlob() const { return _pBlob; }
    bool HasFailed() const { return _bFailed; }
    // Names the file: a memory file that holds the contents of a file of storage takes its name, for messages.
    void SetFileName( const CString& FileName ) { _FileName = FileName; }

private:
    CBlob* _pBlob = nullptr;
    // Not owned.
    uint8* _pBuffer = nullptr;
    // The written or given size of the buffer.
    int32 _Size = 0;
    int32 _Position = 0;
    // -1 when there is no fixed buffer.
    int32 _Capacity = -1;
    bool _bFailed = false;
    bool _bOwnsBlob = false;
    // Over a const blob or a constant block: only OPEN_READ.
    bool _bReadOnly = false;
};
