#include "qor_core/thread/qor_thread_util.h"

#include "qor_core/qor_assert.h"

CThreadLoop::CThreadLoop( const char* pName ) : _Name( pName ? pName : "" ) {}

CThreadLoop::~CThreadLoop()
{
    Stop( true );
}

void CThreadLoop::Start( FLoopFunction pFunction, void* pArg )
{
    QOR_ASSERT( _ThreadHandle == nullptr );
    // Going on after the report: the running loop makes way for the new one, joined so that no thread is lost.
    Stop( true );
    _pFunction = pFunction;
    _pArg = pArg;
    _bStop.store( false );
    _ThreadHandle = NThreads::CreateThread( &Run, this, _Name.c_str() );
}

void CThreadLoop::Stop( bool bWait )
{
    if ( !_ThreadHandle )
    {
        return;
    }
    _bStop.store( true );
    if ( bWait )
    {
        NThreads::DestroyThread( _ThreadHandle );
        _ThreadHandle = nullptr;
    }
}

uint32 CThreadLoop::Run( void* pLoop )
{
    CThreadLoop* pThis = static_cast<CThreadLoop*>( pLoop );
    bool bResult = true;
    while ( !pThis->_bStop.load() && bResult )
    {
        bResult = pThis->_pFunction( pThis->_pArg );
    }
    return 0;
}
