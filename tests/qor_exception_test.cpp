#include "qor_core/qor_exception.h"

#include <gtest/gtest.h>

#include <string>

TEST( CQorException, TextNamesThePlaceTheLineAndTheMessage )
{
    const CQorFileException Exception( "reader.cpp", -12, "Failed writing file" );
    const CQorException& Base = Exception;
    EXPECT_EQ( std::string( Base.GetText().GetData() ),
               "Exception in: reader.cpp, line: -12. Description: Failed writing file" );
}
