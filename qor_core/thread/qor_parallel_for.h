#pragma once

// Parallel-for over an index range on the task pools. The range isn't cut into fixed pieces up front: every task
// pulls the next chunk from one atomic counter until the range is used up, so a thread that got heavy elements
// simply pulls fewer chunks. The caller runs tasks too (its wait runs the queued ones), which is why a range
// counts the workers plus one thread.
//
// ETaskType picks the pool and the chunk size (count = elements / threads):
//   ShortEven      short pool, chunk count, at least 1
//   LongEven       long pool,  chunk count, at least 1
//   ShortBalanced  short pool, chunk count / 3, at least 1 (three chunks per thread for uneven elements)
//   LongEach       long pool,  chunk 1
//   ShortSingle    short pool, one task over the whole range
// The order of the elements over the threads is not set; within a chunk they go in ascending order.

#include "qor_core/container/qor_array.h"
#include "qor_core/qor_assert.h"
#include "qor_core/qor_scopedptr.h"
#include "qor_core/thread/qor_task.h"

#include <algorithm>
#include <atomic>
#include <utility>

enum class ETaskType : int32
{
    ShortEven = 0,
    LongEven = 1,
    ShortBalanced = 2,
    LongEach = 3,
    ShortSingle = 4,
};

struct SQorParallelForRange
{
    int32 _First;
    int32 _Last;
    // The chunk; negative for one task over the whole range.
    int32 _TaskSize;
    int32 _NumThreads;
    int32 _TaskType;
};

// The range [First, Last) for a parallel-for of Type over NumThreads threads; -1 asks for the workers and the
// caller. REQUIRES: NumThreads > 0 or -1; it is kept within 1 and the workers plus one.
SQorParallelForRange MakeRange( int32 First, int32 Last, ETaskType Type, int32 NumThreads = -1 );

namespace NParallelForImpl
{
// How many tasks a range starts: enough chunks to cover it, never more than its threads.
int32 GetNumTasks( const SQorParallelForRange& Range );
// The pool of a task type, null while the pools don't exist. False, after the report "Unsupported task type",
// for a type outside ETaskType.
bool GetPool( int32 TaskType, CTaskScheduler*& pPoolOut );

// The state that the tasks of one parallel-for share: the next index to pull, the range and the body, which
// is called with each index.
template <typename BodyT>
struct SQorParallelFor
{
    SQorParallelFor( const SQorParallelForRange& Range, BodyT Body )
        : _NextIndex( Range._First ), _Range( Range ), _Body( std::move( Body ) )
    {
    }

    // The function of every task: pulls chunks until the range is used up.
    void RunChunks()
    {
        const int32 Chunk = _Range._TaskSize >= 1 ? _Range._TaskSize : _Range._Last;
        int32 Start = _NextIndex.fetch_add( Chunk );
        while ( Start < _Range._Last )
        {
            const int32 End = std::min( Start + Chunk, _Range._Last );
            for ( int32 Index = Start; Index < End; ++Index )
            {
                _Body( Index );
            }
            if ( End == _Range._Last )
            {
                break;
            }
            Start = _NextIndex.fetch_add( Chunk );
        }
    }

    // Creates the tasks on pScheduler, or on the pool of the range's type when it is null, and hands them to
    // Job. Without task threads, the body runs over the whole range here instead.
    void Start( CJob& Job, CTaskScheduler* pScheduler = nullptr )
    {
        if ( _Range._First == _Range._Last )
        {
            return;
        }
        if ( !g_bEnableTaskThreads )
        {
            for ( int32 Index = _Range._First; Index < _Range._Last; ++Index )
            {
                _Body( Index );
            }
            return;
        }
        if ( !pScheduler && !GetPool( _Range._TaskType, pScheduler ) )
        {
            return;
        }
        const int32 NumTasks = GetNumTasks( _Range );
        if ( _Range._TaskType == static_cast<int32>( ETaskType::ShortSingle ) )
        {
            QOR_ASSERT( NumTasks == 1 );
        }
        CQorHybridArray<CQorPtr<CTask>, CJob::InlineTasks> Tasks;
        const FTaskFunction Function = [ this ] { RunChunks(); };
        if ( pScheduler )
        {
            pScheduler->CreateTasks( QOR_TASK_LABEL, Function, NumTasks, Tasks );
        }
        else
        {
            CTaskScheduler::RunTasksWithoutScheduler( QOR_TASK_LABEL, Function, NumTasks, Tasks );
        }
        Job.AddTasks( Tasks );
    }

    std::atomic<int32> _NextIndex;
    SQorParallelForRange _Range;
    BodyT _Body;
};

// A job that owns its parallel-for, for the form that returns before the work is done.
template <typename BodyT>
class CNonBlockingJob : public CJob
{
public:
    CNonBlockingJob( const SQorParallelForRange& Range, BodyT Body )
        : CJob( NParallelForImpl::GetNumTasks( Range ) ), _ParallelFor( Range, std::move( Body ) )
    {
        _ParallelFor.Start( *this );
    }
    // The tasks use the parallel-for, which goes before the base part: a job dropped unfinished is reported as
    // the base would, and then waited for here.
    ~CNonBlockingJob() override
    {
        CheckDoneBeforeDestruction();
        WaitAndClear();
    }

private:
    SQorParallelFor<BodyT> _ParallelFor;
};

// The bodies over an array: the range is 0 to the array's size.
template <typename ArrayT, typename FunctionT>
struct SQorParallelForOverArray
{
    void operator()( int32 Index ) const { _Function( ( *_pArray )[ Index ] ); }

    ArrayT* _pArray;
    FunctionT _Function;
};

template <typename ArrayT, typename FunctionT>
struct SQorParallelForOverArrayWithIndex
{
    void operator()( int32 Index ) const { _Function( ( *_pArray )[ Index ], Index ); }

    ArrayT* _pArray;
    FunctionT _Function;
};

// Runs Body over the range and returns when all of it is done; the caller helps.
template <typename BodyT>
void ParallelForRange( const SQorParallelForRange& Range, BodyT Body, CTaskScheduler* pScheduler = nullptr )
{
    SQorParallelFor<BodyT> ParallelFor( Range, std::move( Body ) );
    CJob Job( GetNumTasks( Range ) );
    ParallelFor.Start( Job, pScheduler );
    Job.WaitAndClear();
}
} // namespace NParallelForImpl

// Calls Function( Element ) for every element of Array, and returns when all are done.
template <typename ArrayT, typename FunctionT>
void ParallelFor( ArrayT& Array, FunctionT Function, ETaskType Type = ETaskType::ShortEven )
{
    NParallelForImpl::ParallelForRange(
        MakeRange( 0, static_cast<int32>( Array.GetSize() ), Type ),
        NParallelForImpl::SQorParallelForOverArray<ArrayT, FunctionT>{ &Array, std::move( Function ) } );
}

// Calls Function( Element, Index ) for every element of Array, and returns when all are done.
template <typename ArrayT, typename FunctionT>
void ParallelForWithIndex( ArrayT& Array, FunctionT Function, ETaskType Type = ETaskType::ShortEven )
{
    NParallelForImpl::ParallelForRange(
        MakeRange( 0, static_cast<int32>( Array.GetSize() ), Type ),
        NParallelForImpl::SQorParallelForOverArrayWithIndex<ArrayT, FunctionT>{ &Array, std::move( Function ) } );
}

// Starts Function( Element ) over Array and returns at once with the job in JobOut, which must be waited on
// (WaitAndClear) before it goes. REQUIRES: Array outlives the job.
template <typename ArrayT, typename FunctionT>
void ParallelForAsync( CQorScopedPtr<CJob>& JobOut, ArrayT& Array, FunctionT Function,
                       ETaskType Type = ETaskType::ShortEven )
{
    using BodyT = NParallelForImpl::SQorParallelForOverArray<ArrayT, FunctionT>;
    JobOut.Reset( new NParallelForImpl::CNonBlockingJob<BodyT>(
        MakeRange( 0, static_cast<int32>( Array.GetSize() ), Type ), BodyT{ &Array, std::move( Function ) } ) );
}
