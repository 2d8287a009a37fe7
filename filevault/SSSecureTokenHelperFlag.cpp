#include "filevault/SSSecureTokenHelper.h"
