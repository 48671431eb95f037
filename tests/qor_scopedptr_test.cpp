#include "qor_core/qor_scopedptr.h"

#include "tests/assert_recorder.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace
{
int g_nDestroyed = 0;

struct SBase
{
    virtual ~SBase() { ++g_nDestroyed; }
    int nValue = 1;
};

struct SDerived : SBase
{
    ~SDerived() override { ++g_nDestroyed; }
    std::string Text = "a derived object with its own heap text";
};

class CQorScopedPtrTest : public testing::Test
{
protected:
    void SetUp() override { g_nDestroyed = 0; }
};
} // namespace

TEST_F( CQorScopedPtrTest, DeletesThroughTheVirtualDestructor )
{
    {
        CQorScopedPtr<SBase> Owner( new SDerived() );
        EXPECT_EQ( Owner->nValue, 1 );
        ( *Owner ).nValue = 2;
        EXPECT_EQ( Owner.Get()->nValue, 2 );
    }
    EXPECT_EQ( g_nDestroyed, 2 );

    CQorScopedPtr<SDerived> Derived( new SDerived() );
    CQorScopedPtr<SBase> Base( std::move( Derived ) );
    EXPECT_TRUE( Derived.IsEmpty() );
    Base.Reset();
    EXPECT_EQ( g_nDestroyed, 4 );
}

TEST_F( CQorScopedPtrTest, MovesAndReleasesHandTheObjectOver )
{
    CQorScopedPtr<SBase> First( new SBase() );
    SBase* pObject = First.Get();
    CQorScopedPtr<SBase> Second( new SBase() );
    Second = std::move( First );
    EXPECT_EQ( g_nDestroyed, 1 );
    EXPECT_TRUE( First.IsEmpty() );
    EXPECT_EQ( Second.Get(), pObject );

    SBase* pReleased = Second.Release();
    EXPECT_EQ( pReleased, pObject );
    EXPECT_FALSE( static_cast<bool>( Second ) );
    delete pReleased;
    EXPECT_EQ( g_nDestroyed, 2 );
}

TEST_F( CQorScopedPtrTest, ResetReportsAPointerReplacingItself )
{
    CAssertRecorder Asserts;
    CQorScopedPtr<SBase> Empty;
    Empty.Reset( nullptr );
    EXPECT_TRUE( Asserts.Texts().empty() );

    // After the report the object is deleted under its new owner: the assertion is the only protection.
    CQorScopedPtr<SBase> Owner( new SBase() );
    SBase* pObject = Owner.Get();
    Owner.Reset( pObject );
    EXPECT_EQ( Asserts.Texts(), std::vector<std::string>{ "pPtr == nullptr || _pPtr != pPtr" } );
    EXPECT_EQ( g_nDestroyed, 1 );
    EXPECT_EQ( Owner.Release(), pObject );
}

TEST_F( CQorScopedPtrTest, DereferenceOfAnEmptyPointerReports )
{
    CAssertRecorder Asserts;
    CQorScopedPtr<SBase> Empty;
    EXPECT_EQ( Empty.operator->(), nullptr );
    EXPECT_EQ( Asserts.Texts(), std::vector<std::string>{ "_pPtr" } );
}
