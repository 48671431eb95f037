#include "qor_core/thread/qor_parallel_for.h"

SQorParallelForRange MakeRange( int32 First, int32 Last, ETaskType Type, int32 NumThreads )
{
    SQorParallelForRange Range{ First, Last, 1, -1, static_cast<int32>( Type ) };
    const int32 MaxThreads = static_cast<int32>( GetNumTaskThreads() ) + 1;
    if ( NumThreads == -1 )
    {
        Range._NumThreads = MaxThreads;
    }
    else
    {
        QOR_ASSERT( NumThreads > 0 );
        Range._NumThreads = std::clamp( NumThreads, 1, MaxThreads );
    }
    const int32 Count = ( Last - First ) / Range._NumThreads;
    switch ( Type )
    {
    case ETaskType::ShortEven:
    case ETaskType::LongEven: Range._TaskSize = std::max( Count, 1 ); break;
    case ETaskType::ShortBalanced: Range._TaskSize = std::max( Count / 3, 1 ); break;
    case ETaskType::LongEach: Range._TaskSize = 1; break;
    case ETaskType::ShortSingle: Range._TaskSize = -1; break;
    default: QOR_ASSERT( false && "Unknown jobtype" ); break;
    }
    return Range;
}

namespace NParallelForImpl
{
int32 GetNumTasks( const SQorParallelForRange& Range )
{
    // A chunk of 0 can only come from a hand-made range: like a negative one, it means one task for all.
    const int32 NumTasks =
        Range._TaskSize > 0 ? ( Range._Last - Range._First + Range._TaskSize - 1 ) / Range._TaskSize : 1;
    return std::min( NumTasks, Range._NumThreads );
}

bool GetPool( int32 TaskType, CTaskScheduler*& pPoolOut )
{
    switch ( static_cast<ETaskType>( TaskType ) )
    {
    case ETaskType::ShortEven:
    case ETaskType::ShortBalanced:
    case ETaskType::ShortSingle: pPoolOut = GetShortTaskScheduler(); return true;
    case ETaskType::LongEven:
    case ETaskType::LongEach: pPoolOut = GetLongTaskScheduler(); return true;
    }
    QOR_ASSERT_MSG( false, "Unsupported task type" );
    return false;
}
} // namespace NParallelForImpl
