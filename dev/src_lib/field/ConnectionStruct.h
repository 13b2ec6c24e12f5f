#pragma once

namespace QUOR_ZEF {

class Component;

// The evidence on two raw Components with at least one affiliated pair of cells.
// Owned by the Filler.
struct ConnectionStruct {
    // The one with the lower id first, or an ASSEX fails. Both not owned.
    ConnectionStruct(Component* pFirst, Component* pSecond);

    Component* pComponent0;
    Component* pComponent1;
    int count = 1;       // nothing changes it
    double score = 0.0;  // above 0: the sides match; below 0: they are swapped against each other
};

}  // namespace QUOR_ZEF
