#include "host/log/TavolinCritSec.h"

namespace xmldsig {

TavolinCritSec::~TavolinCritSec() = default;

}  // namespace xmldsig
