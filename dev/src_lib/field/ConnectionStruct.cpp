#include "field/ConnectionStruct.h"

#include "field/Component.h"
#include "frame/tools.h"

namespace QUOR_ZEF {

namespace {

// The components stand for their ids, which order them.
void checkOrder(int pComponent0, int pComponent1) {
    ASSEX(pComponent0<pComponent1);
}

}  // namespace

ConnectionStruct::ConnectionStruct(Component* pFirst, Component* pSecond) : pComponent0(pFirst), pComponent1(pSecond) {
    checkOrder(pFirst->id, pSecond->id);
}

}  // namespace QUOR_ZEF
