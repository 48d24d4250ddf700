#include "app/platform/MenuFiles.h"
