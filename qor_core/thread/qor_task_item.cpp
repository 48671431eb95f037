#include "qor_core/thread/qor_task_item.h"

#include "qor_core/platform/qor_clock.h"
#include "qor_core/platform/qor_thread_services.h"
#include "qor_core/qor_assert.h"


STaskItem::STaskItem( const FTaskFunction& Function, const char* pLabel, CQorAllocator* pAllocator )
    : _Function( Function ), _pLabel( pLabel ), _ProfilerData{ 0, 0, 0, 1 }, _pAllocator( pAllocator )
{
}

bool STaskItem::TryStart( uint64 Now )
{
    ETaskState Expected = ETaskState::NotStarted;
    if ( !_State.compare_exchange_strong( Expected, ETaskState::Started ) )
    {
        return false;
    }
    _StartTime = Now;
    return true;
}

namespace
{
// Out of line, so that a throw leaves it as an exception and reaches the no-throw boundary of RunStarted in
// flight: inlined there, the compiler may end the program before the throw, and the report names no exception.
[[gnu::noinline]] void CallTaskFunction( const FTaskFunction& Function )
{
    Function();
}
} // namespace

uint64 STaskItem::RunStarted() noexcept
{
    CallTaskFunction( _Function );
    // The duration goes in before the item is done, so that whoever sees it done sees its duration too.
    const uint64 End = NPlatform::GetHighResolutionTimeNs();
    _Duration = End - _StartTime;
    const ETaskState State = _State.exchange( ETaskState::Done );
    QOR_ASSERT( State == ETaskState::Started );
    return End;
}

bool STaskItem::TryExecute()
{
    if ( _State.load() != ETaskState::NotStarted || !TryStart( NPlatform::GetHighResolutionTimeNs() ) )
    {
        return false;
    }
    RunStarted();
    return true;
}

void STaskItem::Release( STaskItem* pItem )
{
    const int32 PreviousRefCount = pItem->_RefCount.fetch_sub( 1 );
    QOR_ASSERT( PreviousRefCount == 1 || PreviousRefCount == 2 );
    if ( PreviousRefCount != 1 )
    {
        return;
    }
    QOR_ASSERT( pItem->IsDone() );
    pItem->_State.store( ETaskState::Destroyed );
    CQorAllocator* pAllocator = pItem->_pAllocator;
    pItem->~STaskItem();
    pAllocator->Deallocate( pItem );
}

void STaskItem::Wait( const STaskItem* pItem )
{
    while ( !pItem->IsDone() )
    {
        NPlatform::SwitchToThread();
    }
}

void STaskItem::Wait( const STaskItem* pItem, const FTaskFunction& Pump )
{
    while ( !pItem->IsDone() )
    {
        NPlatform::SwitchToThread();
        if ( !Pump.empty() )
        {
            Pump();
        }
    }
}
