#include "qor_core/persistence/qor_persistent_reader.h"
