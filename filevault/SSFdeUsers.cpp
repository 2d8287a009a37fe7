#include "filevault/SSFdeUsers.h"
