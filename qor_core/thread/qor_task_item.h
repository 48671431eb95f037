#pragma once

// STaskItem: one piece of work as the scheduler queues it. It lives in the allocator of the thread that made it
// and is shared by two references at most: the creator's handle (CTask) and the queue. Whoever wins the
// compare-and-exchange from NotStarted to Started runs it - a worker that took it from a queue, or a waiter
// that runs it itself - so an item runs exactly once however many threads reach it. An item that a waiter ran
// stays in its queue; the worker that reaches it later fails the start and only drops the queue's reference.

#include "qor_core/allocator/qor_allocator.h"
#include "qor_core/qor_types.h"

#include <boost/function.hpp>

#include <atomic>

enum class ETaskState : uint32
{
    NotStarted = 0,
    Started = 1,
    Done = 2,
    Destroyed = 3,
};

// What a task runs. An empty function raises boost's bad-function-call error on the thread that runs it.
using FTaskFunction = boost::function<void()>;

#define QOR_TASK_STRINGIFY_( Text ) #Text
#define QOR_TASK_STRINGIFY( Text ) QOR_TASK_STRINGIFY_( Text )
// The label of a task made at this point of the source: the file and the line, joined by a colon.
#define QOR_TASK_LABEL __FILE__ ":" QOR_TASK_STRINGIFY( __LINE__ )

struct STaskItem
{
    // pLabel is a string constant (QOR_TASK_LABEL); pAllocator is where the item's memory came from.
    STaskItem( const FTaskFunction& Function, const char* pLabel, CQorAllocator* pAllocator );

    bool IsDone() const
    {
        const ETaskState State = _State.load();
        return State == ETaskState::Done || State == ETaskState::Destroyed;
    }
    // True for exactly one caller: the one that moved the item from NotStarted to Started and must run it.
    // Now is the clock's reading (NPlatform::GetHighResolutionTimeNs), which a worker running items one after
    // the other reads once per item.
    bool TryStart( uint64 Now );
    // Runs the function and marks the item done; returns the clock's reading at the end.
    // REQUIRES: TryStart returned true to this caller.
    // The thread's no-throw boundary: an exception from the function ends the program here.
    uint64 RunStarted() noexcept;
    // TryStart, and RunStarted when it won. True when the caller ran the item.
    bool TryExecute();

    // Drops one reference; the last one, which may only go once the item is done, frees it.
    static void Release( STaskItem* pItem );
    // Yields until the item is done; with Pump, calls it between the yields when it isn't empty.
    static void Wait( const STaskItem* pItem );
    static void Wait( const STaskItem* pItem, const FTaskFunction& Pump );

    FTaskFunction _Function;
    const char* _pLabel;
    // For the profiler: zeros and 1 in the last word. Nothing here reads it.
    uint32 _ProfilerData[ 4 ];
    CQorAllocator* _pAllocator;
    std::atomic<ETaskState> _State{ ETaskState::NotStarted };
    std::atomic<int32> _RefCount{ 1 };
    // Nanoseconds of the run and its start; written by the thread that runs the item.
    uint64 _Duration = 0;
    uint64 _StartTime = 0;
};
