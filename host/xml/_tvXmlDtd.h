// The DTD context handed to the signature locator and remover. Documents are parsed with their
// internal subset applied and nothing external loaded, so the context carries no state; it
// exists so that callers construct one per use as the interfaces expect.
#pragma once

namespace xmldsig {

class _tvXmlDtd {};

}  // namespace xmldsig
