// Placeholder until the expat-based parser lands.
#include "host/xml/detail/XmlDom.h"
