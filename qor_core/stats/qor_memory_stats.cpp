#include "qor_core/stats/qor_memory_stats.h"

#include "qor_core/qor_assert.h"

#include <algorithm>

namespace NQorMemoryConsumers
{
namespace
{
// Filled by static initialisers only, read afterwards.
CQorArray<const char*>& AccessNames()
{
    static CQorArray<const char*> s_Names;
    return s_Names;
}
} // namespace

CMemoryConsumer::CMemoryConsumer( const char* pName ) : _Index( AccessNames().GetSize() )
{
    AccessNames().Add( pName );
}

int32 GetNumStaticIndices()
{
    return AccessNames().GetSize();
}

const char* GetName( int32 Index )
{
    return Index >= 0 && Index < AccessNames().GetSize() ? AccessNames()[ Index ] : nullptr;
}
} // namespace NQorMemoryConsumers

CQorMemoryStats::CQorMemoryStats()
{
    _MemoryConsumerStats.Resize( NQorMemoryConsumers::GetNumStaticIndices() );
}

CQorMemoryStats::SMemoryConsumerStats* CQorMemoryStats::AccessConsumerLocked( int32 Consumer ) const
{
    QOR_ASSERT( _Mutex.IsLockedByMe() );
    QOR_ASSERT( _MemoryConsumerStats.GetSize() == NQorMemoryConsumers::GetNumStaticIndices() &&
                "Memory consumer was registered after memory stats were initialized." );
    // A consumer that came late is counted all the same, from now on.
    if ( _MemoryConsumerStats.GetSize() < NQorMemoryConsumers::GetNumStaticIndices() )
    {
        _MemoryConsumerStats.Resize( NQorMemoryConsumers::GetNumStaticIndices() );
    }
    QOR_ASSERT( Consumer >= 0 && Consumer < _MemoryConsumerStats.GetSize() );
    return Consumer >= 0 && Consumer < _MemoryConsumerStats.GetSize() ? &_MemoryConsumerStats[ Consumer ] : nullptr;
}

void CQorMemoryStats::OnAllocate( int32 Consumer, uint64 Bytes )
{
    Add( SQorMemoryStatsTraits::ALLOCATIONS );
    Add( SQorMemoryStatsTraits::BYTES_ALLOCATED, Bytes );
    CScopedLock<CMutex> Lock( &_Mutex );
    if ( SMemoryConsumerStats* pStats = AccessConsumerLocked( Consumer ) )
    {
        ++pStats->_Allocations;
        pStats->_LiveBytes += int64( Bytes );
        pStats->_PeakLiveBytes = std::max( pStats->_PeakLiveBytes, pStats->_LiveBytes );
    }
}

void CQorMemoryStats::OnFree( int32 Consumer, uint64 Bytes )
{
    Add( SQorMemoryStatsTraits::FREES );
    Add( SQorMemoryStatsTraits::BYTES_FREED, Bytes );
    CScopedLock<CMutex> Lock( &_Mutex );
    if ( SMemoryConsumerStats* pStats = AccessConsumerLocked( Consumer ) )
    {
        ++pStats->_Frees;
        pStats->_LiveBytes -= int64( Bytes );
    }
}

CQorMemoryStats::SMemoryConsumerStats CQorMemoryStats::GetConsumerStats( int32 Consumer ) const
{
    CScopedLock<CMutex> Lock( &_Mutex );
    const SMemoryConsumerStats* pStats = AccessConsumerLocked( Consumer );
    return pStats ? *pStats : SMemoryConsumerStats();
}
