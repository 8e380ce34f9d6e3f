#include "lan/Subdev.h"

std::atomic<int> nQuerySubdev{0};
