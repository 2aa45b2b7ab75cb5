#include "catalogue/resource_registry.h"

namespace Tarn {

CResourceModule GetOwnTexts(HINSTANCE module) {
    CResourceModule texts;
    texts.module = module;
    texts.FindExports();
    return texts;
}

} // namespace Tarn
