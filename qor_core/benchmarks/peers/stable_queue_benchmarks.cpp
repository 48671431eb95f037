// The main program's steady-state queue pass (one push, one peek and one pop per pass at a constant standing
// size) over the library's contiguous queue and double-ended array, std::deque, and a physical reference: a
// queue with the contiguous queue's storage, slide and checks, but a begin and an end pointer in place of the
// first element and the size. The library's push and pop both read and write the size, so that each pass
// forwards it from store to load twice in a row; std::deque's push and pop touch separate pointers, and so do
// the reference's. The reference comes twice: with the library's checks of an empty queue in Front and
// PopFront, and without them, as std::deque has none. Library against checked reference is the size field's
// cost alone; checked against unchecked reference the checks' cost; unchecked reference against std::deque the
// storage's. The arguments are those of the main family: capacity reserved, standing size.

#include "qor_core/allocator/qor_allocator.h"
#include "qor_core/benchmarks/double_ended_array_benchmarks.h"
#include "qor_core/qor_assert.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstring>

namespace
{
// The reference: trivially copyable uint32 elements in one buffer from the global allocator. Like the
// contiguous queue, a push at the end of the buffer slides the elements to its start while the buffer holds at
// least twice their number, and otherwise moves them to a buffer of twice the size. bCheckedT adds the library's
// assertions of a non-empty queue.
template <bool bCheckedT>
class CBeginEndQueue
{
public:
    CBeginEndQueue() = default;
    CBeginEndQueue( const CBeginEndQueue& ) = delete;
    CBeginEndQueue& operator=( const CBeginEndQueue& ) = delete;
    ~CBeginEndQueue() { GetGlobalAllocator()->Deallocate( _Buffer ); }

    void Reserve( int32 nCapacity )
    {
        if ( nCapacity > _BufferEnd - _Buffer )
        {
            MoveTo( nCapacity );
        }
    }
    void PushBack( uint32 nValue )
    {
        if ( _End == _BufferEnd ) [[unlikely]]
        {
            MakeTailRoom();
        }
        *_End++ = nValue;
    }
    uint32& Front()
    {
        if constexpr ( bCheckedT )
        {
            QOR_CHECK_MSG( _Begin != _End, "Cannot get front element of an empty container." );
        }
        return *_Begin;
    }
    void PopFront()
    {
        if constexpr ( bCheckedT )
        {
            QOR_CHECK_MSG( _Begin != _End, "Cannot pop front element of an empty container." );
        }
        ++_Begin;
    }
    int32 GetSize() const { return static_cast<int32>( _End - _Begin ); }

private:
    [[gnu::noinline]] void MakeTailRoom()
    {
        const int32 nSize = GetSize();
        const int32 nCapacity = static_cast<int32>( _BufferEnd - _Buffer );
        const int32 nWanted = std::max( { nCapacity, 2 * nSize, nSize + 1 } );
        if ( nWanted == nCapacity )
        {
            std::memmove( _Buffer, _Begin, static_cast<size_t>( nSize ) * sizeof( uint32 ) );
            _Begin = _Buffer;
            _End = _Buffer + nSize;
            return;
        }
        MoveTo( nWanted );
    }
    void MoveTo( int32 nCapacity )
    {
        const int32 nSize = GetSize();
        uint32* pNew = static_cast<uint32*>(
            GetGlobalAllocator()->Allocate( static_cast<uint64>( nCapacity ) * sizeof( uint32 ), alignof( uint32 ) ) );
        if ( nSize > 0 )
        {
            std::memcpy( pNew, _Begin, static_cast<size_t>( nSize ) * sizeof( uint32 ) );
        }
        GetGlobalAllocator()->Deallocate( _Buffer );
        _Buffer = pNew;
        _Begin = pNew;
        _End = pNew + nSize;
        _BufferEnd = pNew + nCapacity;
    }

    uint32* _Buffer = nullptr;
    uint32* _Begin = nullptr;
    uint32* _End = nullptr;
    uint32* _BufferEnd = nullptr;
};

template <bool bCheckedT>
struct SBeginEndQueueTraits
{
    using ContainerType = CBeginEndQueue<bCheckedT>;
    static void Reserve( ContainerType& Container, int32 nCapacity ) { Container.Reserve( nCapacity ); }
    static void Push( ContainerType& Container, uint32 nValue ) { Container.PushBack( nValue ); }
    static uint32 Peek( ContainerType& Container ) { return Container.Front(); }
    static void Pop( ContainerType& Container ) { Container.PopFront(); }
    static int32 Size( const ContainerType& Container ) { return Container.GetSize(); }
};

void StableQueue_QorContiguousQueue( benchmark::State& state )
{
    CQorDoubleEndedArray_StableQueueSize<SQorContiguousQueueTraits>( state );
}

void StableQueue_QorDoubleEndedArray( benchmark::State& state )
{
    CQorDoubleEndedArray_StableQueueSize<SQorDoubleEndedArrayTraits>( state );
}

void StableQueue_Std( benchmark::State& state )
{
    CQorDoubleEndedArray_StableQueueSize<SStdDequeTraits>( state );
}

void StableQueue_BeginEnd( benchmark::State& state )
{
    CQorDoubleEndedArray_StableQueueSize<SBeginEndQueueTraits<true>>( state );
}

void StableQueue_BeginEndUnchecked( benchmark::State& state )
{
    CQorDoubleEndedArray_StableQueueSize<SBeginEndQueueTraits<false>>( state );
}

// The main family's argument sets: the reserve is ten times the standing size.
void Sizes( benchmark::internal::Benchmark* pBenchmark )
{
    for ( const int64 nStanding : { 1, 10, 100, 1000, 10000 } )
    {
        pBenchmark->Args( { 10 * nStanding, nStanding } );
    }
}
} // namespace

BENCHMARK( StableQueue_QorContiguousQueue )->Apply( Sizes );
BENCHMARK( StableQueue_QorDoubleEndedArray )->Apply( Sizes );
BENCHMARK( StableQueue_Std )->Apply( Sizes );
BENCHMARK( StableQueue_BeginEnd )->Apply( Sizes );
BENCHMARK( StableQueue_BeginEndUnchecked )->Apply( Sizes );
