#include "qor_core/qor_string_view.h"

#include "qor_core/qor_string.h"

const char* NDetail::QorStrFmtCheckUnterminated( CQorStringView View )
{
    QOR_ASSERT_MSG( View.GetSize() == 0,
                    "Non empty, non null terminated string views not valid for QorStrFmtCheck. To format a non-null "
                    "terminated string, use \"%%.*s\", [length], [data pointer]" );
    // Never the view's own characters: nothing says a zero follows them.
    static const CString s_EmptyString;
    return s_EmptyString.GetData();
}
