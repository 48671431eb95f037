#include "qor_core/abstractgamedatabase.h"

#include "qor_core/log_deprecated.h"
#include "qor_core/platform/qor_clock.h"
#include "qor_core/qor_assert.h"
#include "qor_core/qor_log_categories.h"
#include "qor_core/qoralloca.h"

namespace NDatabase
{
namespace
{
// Logs the time from its construction to its end under its label, to the debug category.
class CTimingScope
{
public:
    explicit CTimingScope( const char* pLabel ) : _pLabel( pLabel ), _StartNs( NPlatform::GetHighResolutionTimeNs() ) {}
    ~CTimingScope()
    {
        const uint64 ElapsedUs = ( NPlatform::GetHighResolutionTimeNs() - _StartNs ) / 1000;
        LogPrintf( SLogLocation( __FILE__, __LINE__, LOG_CATEGORY_HALVORSUND_DEBUG ), "%s: %llu us", _pLabel,
                   static_cast<unsigned long long>( ElapsedUs ) );
    }
    CTimingScope( const CTimingScope& ) = delete;
    CTimingScope& operator=( const CTimingScope& ) = delete;

private:
    const char* _pLabel;
    uint64 _StartNs;
};

enum class ERecordState : uint8
{
    Waiting,
    Initialized,
    Failed,
};

ERecordState TryInitialize( const SGameDatabaseRecord& Record )
{
    if ( Record._IsReady && !Record._IsReady() )
    {
        return ERecordState::Waiting;
    }
    for ( const std::function<bool()>& Init : Record._InitFunctions )
    {
        if ( Init && !Init() )
        {
            return ERecordState::Failed;
        }
    }
    return ERecordState::Initialized;
}
} // namespace

bool InitializeDatabases( const CQorArray<SGameDatabaseRecord>& Records )
{
    const CTimingScope Timing( "InitializeDatabases" );
    struct SPending
    {
        const SGameDatabaseRecord* pRecord;
        bool bFailed;
    };
    // The records left, on the stack between two guard words that the array checks when it goes.
    auto Pending = QOR_ALLOCA( SPending, Records.GetSize() );
    int32 NumPending = 0;
    for ( const SGameDatabaseRecord& Record : Records )
    {
        Pending[NumPending++] = { &Record, false };
    }

    bool bRemovedAny = true;
    while ( bRemovedAny && NumPending > 0 )
    {
        bRemovedAny = false;
        int32 NumKept = 0;
        for ( int32 Position = 0; Position < NumPending; ++Position )
        {
            SPending Entry = Pending[Position];
            if ( !Entry.bFailed )
            {
                const ERecordState State = TryInitialize( *Entry.pRecord );
                if ( State == ERecordState::Initialized )
                {
                    bRemovedAny = true;
                    continue;
                }
                Entry.bFailed = State == ERecordState::Failed;
            }
            Pending[NumKept++] = Entry;
        }
        NumPending = NumKept;
    }

    for ( int32 Position = 0; Position < NumPending; ++Position )
    {
        const char* pName = Pending[Position].pRecord->_pName;
        CLogStream( GetLogger(), __FILE__, __LINE__, LOG_CATEGORY_HALVORSUND_ERROR )
            << "Failed to initialize database: " << ( pName ? pName : "<name>" ) << "\n";
    }
    QOR_ASSERT_MSG( NumPending == 0, "Failed to initialize some databases!" );
    return NumPending == 0;
}
} // namespace NDatabase
