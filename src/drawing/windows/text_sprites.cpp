#include "drawing/windows/text_sprites.h"

namespace kymora {

TextSprites& TextSprites::Here() {
    static thread_local TextSprites sprites;
    return sprites;
}

}  // namespace kymora
