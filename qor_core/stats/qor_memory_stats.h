#pragma once

// Debug statistics: counters that the library's services add to from any thread, and that a frame collector
// reads frame by frame. CQorDebugStats<Traits> keeps, for each counter of its traits, the running total and
// the figure of the last frame that ended; EndFrame turns what was counted since the previous end into that
// figure. Counting never takes a lock, so the file system can feed CQorIOStats from its reading threads. How
// frames are sampled and shown is the application's: it ends them from its own frame loop, or from a thread
// named as GetFrameThreadName() says.
//
// CQorMemoryStats also counts per memory consumer: each consumer is declared at static initialisation
// (NQorMemoryConsumers::CMemoryConsumer) and has one entry, guarded by a mutex.

#include "qor_core/container/qor_array.h"
#include "qor_core/qor_types.h"
#include "qor_core/thread/qor_mutex.h"

#include <atomic>

class CQorDebugStatsBase
{
public:
    explicit CQorDebugStatsBase( const char* pFrameThreadName ) : _pFrameThreadName( pFrameThreadName ) {}
    virtual ~CQorDebugStatsBase() = default;
    CQorDebugStatsBase( const CQorDebugStatsBase& ) = delete;
    CQorDebugStatsBase& operator=( const CQorDebugStatsBase& ) = delete;

    // The name of the thread that collects these statistics' frames.
    const char* GetFrameThreadName() const { return _pFrameThreadName; }
    // Closes the present frame. REQUIRES: one thread ends the frames.
    virtual void EndFrame() = 0;
    uint32 GetFrameCount() const { return _FrameCount.load(); }

protected:
    std::atomic<uint32> _FrameCount{ 0 };

private:
    const char* _pFrameThreadName;
};

template <typename TraitsT>
class CQorDebugStats : public CQorDebugStatsBase
{
public:
    using ECounter = typename TraitsT::ECounter;
    static constexpr int32 c_CounterCount = TraitsT::COUNTER_COUNT;

    CQorDebugStats() : CQorDebugStatsBase( TraitsT::c_FrameThreadName ) {}

    // Any thread, at any time.
    void Add( ECounter Counter, uint64 Amount = 1 ) { _Totals[ Counter ].fetch_add( Amount ); }
    // Everything counted since construction.
    uint64 GetTotal( ECounter Counter ) const { return _Totals[ Counter ].load(); }
    // What was counted between the last two ends of a frame.
    uint64 GetLastFrame( ECounter Counter ) const { return _LastFrame[ Counter ].load(); }
    static const char* GetCounterName( ECounter Counter ) { return TraitsT::c_CounterNames[ Counter ]; }

    // A count that comes in while the frame ends falls into this frame or the next, never into both or none:
    // each frame's figure is the difference of two readings of the same running total.
    void EndFrame() override
    {
        for ( int32 Index = 0; Index < c_CounterCount; ++Index )
        {
            const uint64 Total = _Totals[ Index ].load();
            _LastFrame[ Index ].store( Total - _FrameStart[ Index ] );
            _FrameStart[ Index ] = Total;
        }
        _FrameCount.fetch_add( 1 );
    }

private:
    std::atomic<uint64> _Totals[ c_CounterCount ];
    std::atomic<uint64> _LastFrame[ c_CounterCount ];
    // The totals at the end of the previous frame; only the thread that ends frames touches them.
    uint64 _FrameStart[ c_CounterCount ] = {};
};

// What the virtual file system counts.
struct SQorIOStatsTraits
{
    enum ECounter : int32
    {
        BYTES_READ,
        BYTES_WRITTEN,
        OPENS_FOR_READ,
        OPENS_FOR_WRITE,
        OPENS_FOR_APPEND,
        FILES_ENUMERATED,
        DIRECTORIES_ENUMERATED,
        COUNTER_COUNT,
    };
    static constexpr const char* c_FrameThreadName = "I/O Stats Frame Thread";
    static constexpr const char* c_CounterNames[ COUNTER_COUNT ] = {
        "Bytes read",       "Bytes written",    "Opens for read",        "Opens for write",
        "Opens for append", "Files enumerated", "Directories enumerated" };
};

struct SQorMemoryStatsTraits
{
    enum ECounter : int32
    {
        ALLOCATIONS,
        FREES,
        BYTES_ALLOCATED,
        BYTES_FREED,
        COUNTER_COUNT,
    };
    static constexpr const char* c_FrameThreadName = "Memory Stats Frame Thread";
    static constexpr const char* c_CounterNames[ COUNTER_COUNT ] = { "Allocations", "Frees", "Bytes allocated",
                                                                      "Bytes freed" };
};

struct SQorNetStatsTraits
{
    enum ECounter : int32
    {
        PACKETS_SENT,
        PACKETS_RECEIVED,
        BYTES_SENT,
        BYTES_RECEIVED,
        COUNTER_COUNT,
    };
    static constexpr const char* c_FrameThreadName = "Net Stats Frame Thread";
    static constexpr const char* c_CounterNames[ COUNTER_COUNT ] = { "Packets sent", "Packets received", "Bytes sent",
                                                                      "Bytes received" };
};

class CQorIOStats : public CQorDebugStats<SQorIOStatsTraits>
{
};

class CQorNetStats : public CQorDebugStats<SQorNetStatsTraits>
{
};

namespace NQorMemoryConsumers
{
// A consumer of memory that the statistics count apart. Declared as a global: its index is its place in the
// order of static initialisation.
class CMemoryConsumer
{
public:
    // REQUIRES: pName outlives the program's use of it (a literal).
    explicit CMemoryConsumer( const char* pName );
    int32 GetIndex() const { return _Index; }

private:
    int32 _Index;
};

int32 GetNumStaticIndices();
// The consumer's name, or null for an index that no consumer has.
const char* GetName( int32 Index );
} // namespace NQorMemoryConsumers

class CQorMemoryStats : public CQorDebugStats<SQorMemoryStatsTraits>
{
public:
    struct SMemoryConsumerStats
    {
        uint64 _Allocations = 0;
        uint64 _Frees = 0;
        // Bytes allocated and not freed yet, and the most there ever were.
        int64 _LiveBytes = 0;
        int64 _PeakLiveBytes = 0;
    };

    // One entry for each consumer declared so far. REQUIRES: every consumer is declared before.
    CQorMemoryStats();

    // Count for the consumer and for the whole. REQUIRES: Consumer is the index of a declared consumer.
    void OnAllocate( int32 Consumer, uint64 Bytes );
    void OnFree( int32 Consumer, uint64 Bytes );
    // A copy of the consumer's entry; an empty one for an index no consumer has.
    SMemoryConsumerStats GetConsumerStats( int32 Consumer ) const;

private:
    // The consumer's entry or null. REQUIRES: the caller holds _Mutex.
    SMemoryConsumerStats* AccessConsumerLocked( int32 Consumer ) const;

    mutable CMutex _Mutex;
    mutable CQorArray<SMemoryConsumerStats> _MemoryConsumerStats;
};
