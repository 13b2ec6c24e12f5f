#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <deque>
#include <functional>
#include <map>
#include <set>
#include <utility>
#include <vector>

#include "field/Component.h"
#include "geometry/freeFunctions.h"
#include "grid/RemoveDecider_RCD.h"
#include "grid/codeSets.h"
#include "support/blockModel.h"

// The labelling of sides as a slow model: plain searches for every question, all
// counts taken afresh, ordered maps as queues.

namespace zef_test {

using namespace QUOR_ZEF;

struct SlowSides {
    std::vector<uint64> vCells;
    std::vector<Facet> vFacets;
    std::map<uint64, Point3> mSamples;
    int g1 = -1, g2 = -1;

    using List = std::vector<Facet*>;

    SlowSides(const std::vector<uint64>& vCellRCD, const std::vector<uint64>& vBorder,
              const Component::CodePoints& vSamples)
        : vCells(vCellRCD), mSamples(vSamples.begin(), vSamples.end()) {
        const uint64 steps[6] = {0 - stepX_RCD, stepX_RCD, 0 - stepY_RCD, stepY_RCD, 0 - stepZ_RCD, stepZ_RCD};
        for (const uint64 rcd : vCells) {
            for (int dir = 0; dir < 6; ++dir) {
                if (containsCode(vCells, rcd + steps[dir])) continue;
                vFacets.push_back({rcd, dir, -1, containsCode(vBorder, rcd) ? FACET_STATE_BORDER : FACET_STATE_AREA});
            }
        }
    }

    Facet* at(uint64 rcd, int dir) {
        const Facet f{rcd, dir, 0, 0};
        const auto it = std::lower_bound(vFacets.begin(), vFacets.end(), f);
        return it != vFacets.end() && *it == f ? &*it : nullptr;
    }
    Facet* neig(const Facet* pFacet, int edge) { return pFacet->fetchNeigPtr(vCells, vFacets, edge); }
    bool isSide(const Facet* pFacet) const { return pFacet->component == g1 || pFacet->component == g2; }

    // The labels in facet order.
    std::vector<int> label() {
        createGroups();
        std::map<int, int> mCount;
        for (const Facet& f : vFacets) {
            if (f.component >= 0) ++mCount[f.component];
        }
        std::vector<std::pair<int, int>> vGroups;
        for (const auto& [group, count] : mCount) vGroups.emplace_back(count, group);
        std::sort(vGroups.begin(), vGroups.end(), std::greater<>());
        if (vGroups.size() < 2) return std::vector<int>(vFacets.size(), -1);
        g1 = vGroups[0].second;
        g2 = vGroups[1].second;
        colorizeRest();
        name();
        mend();
        std::vector<int> vLabels;
        for (const Facet& f : vFacets) vLabels.push_back(f.component);
        return vLabels;
    }

    void createGroups() {
        RemoveDecider_RCD decider(&vCells, anyGrid());
        int group = 1;
        for (Facet& f : vFacets) {
            if (f.component >= 0 || f.state == FACET_STATE_BORDER) continue;
            ++group;
            std::deque<Facet*> queue{&f};
            while (!queue.empty()) {
                const Facet* const pFacet = queue.front();
                queue.pop_front();
                for (int edge = 0; edge < 4; ++edge) {
                    Facet* const n = neig(pFacet, edge);
                    if (n->state != FACET_STATE_AREA || n->component >= 0 || n->component == -group) continue;
                    n->component = group;
                    queue.push_back(n);
                    if (decider.getOppState(n->rcd, n->dir) != OS_SEPARATED) continue;
                    Facet* const pOpposite = at(n->rcd, n->dir % 2 ? n->dir - 1 : n->dir + 1);
                    if (pOpposite->state == FACET_STATE_AREA && pOpposite->component == -1) {
                        pOpposite->component = -group;
                    }
                }
            }
        }
    }
    static const Calc* anyGrid() {
        static const Calc calc(0, 0, 0, 1, 1, 1, 1);
        return &calc;
    }

    void colorizeRest() {
        List list;
        for (Facet& f : vFacets) {
            if (!isSide(&f)) list.push_back(&f);
        }
        List copy = list;
        for (int minCount = 8; minCount >= 1; --minCount) colorize27(list, minCount, false);
        for (int minWeight = 10; minWeight >= 1; --minWeight) colorizeW(list, minWeight);
        for (int minCount = 8; minCount >= 1; --minCount) colorize27(list, minCount, true);
        thinBorder(copy);
    }

    // The facet stays in the list, leaves it labelled, or sees no label.
    enum Verdict { KEEP, ASSIGN, DEFER };
    Verdict judge27(Facet* f, int minCount, bool bResolve) {
        std::map<int, int> mCount;
        for (const uint64 rcd : SlowDecider::around(f->rcd)) {
            const Facet* const p = at(rcd, f->dir);
            if (p && rcd != f->rcd && isSide(p)) ++mCount[p->component];
        }
        if (mCount.empty()) return DEFER;
        if (mCount.size() == 2 && !bResolve) return KEEP;
        if (mCount.size() == 2) {
            const auto low = *mCount.begin(), high = *mCount.rbegin();
            mCount = {high.second > low.second ? high : low};
            if (mCount.begin()->second < 2) return KEEP;
        }
        if (mCount.begin()->second < minCount) return KEEP;
        f->component = mCount.begin()->first;
        return ASSIGN;
    }

    void colorize27(List& list, int minCount, bool bResolve) {
        List deferred;
        for (;;) {
            List kept;
            int n = 0;
            for (Facet* f : list) {
                if (isSide(f)) continue;
                const Verdict verdict = judge27(f, minCount, bResolve);
                n += verdict == ASSIGN;
                if (verdict == KEEP) kept.push_back(f);
                if (verdict == DEFER) deferred.push_back(f);
            }
            const int r = static_cast<int>(kept.size());
            list = kept;
            if (n == 0 || r < 2000 || r / n >= 1001) {
                list.insert(list.end(), deferred.begin(), deferred.end());
                deferred.clear();
            }
            if (n && (minCount < 5 || r < 100001 || r / n < 20001)) continue;
            list.insert(list.end(), deferred.begin(), deferred.end());
            deferred.clear();
            const int m = colorizeW(list, 10.0);
            if (m == 0 || (minCount > 5 && r > 100000 && r / m > 50000)) return;
        }
    }

    std::pair<int, double> weight(Facet* f) {
        std::map<int, double> mWeight;
        for (int edge = 0; edge < 4; ++edge) {
            const Facet* const n = neig(f, edge);
            if (!isSide(n) || n->rcd == f->rcd) continue;
            mWeight[n->component] += n->dir == f->dir ? 10.0 : n->state == FACET_STATE_BORDER ? 1.0 : 10.0;
        }
        if (mWeight.size() == 1) return *mWeight.begin();
        if (mWeight.size() == 2) {
            const auto a = *mWeight.begin(), b = *mWeight.rbegin();
            if (a.second >= 10.0 && b.second < 10.0) return a;
            if (b.second >= 10.0 && a.second < 10.0) return b;
        }
        return {-99, 0.0};
    }

    // Takes the best until none is left; what act() returns above 0 enters again.
    static void bestFirst(const List& list, const std::function<double(Facet*)>& weightOf, bool bWithNull,
                          const std::function<double(double, Facet*)>& act) {
        std::multimap<double, Facet*, std::greater<>> queue;
        for (Facet* f : list) {
            const double w = weightOf(f);
            if (w > 0.0 || bWithNull) queue.emplace(w, f);
        }
        while (!queue.empty()) {
            const auto [w, f] = *queue.begin();
            queue.erase(queue.begin());
            const double again = act(w, f);
            if (again > 0.0) queue.emplace(again, f);
        }
    }

    int colorizeW(List& list, double minWeight) {
        List open;
        std::copy_if(list.begin(), list.end(), std::back_inserter(open), [](Facet* f) { return f->component == -1; });
        int n = 0;
        bestFirst(
            open, [&](Facet* f) { return weight(f).second; }, true,
            [&](double w, Facet* f) {
                const auto [side, fresh] = weight(f);
                if (w > fresh) return fresh;
                if (fresh == 0.0 || fresh < minWeight) return 0.0;
                f->component = side;
                ++n;
                return 0.0;
            });
        std::sort(list.begin(), list.end());
        return n;
    }

    double thinWeight(Facet* f) {
        int count = 0;
        for (int edge = 0; edge < 4; ++edge) {
            const int other = neig(f, edge)->component;
            if (other >= 0 && f->component >= 0 && other != f->component) ++count;
        }
        if (count == 0) return 0.0;
        std::vector<Point3> vSamples;
        const auto [x, y, z] = unpackRCD(f->rcd);
        for (uint64 i = 0; i < 125; ++i) {
            const uint64 rcd = packRCD(x + i / 25 - 2, y + i / 5 % 5 - 2, z + i % 5 - 2);
            const auto it = mSamples.find(rcd);
            if (it != mSamples.end() && rcd != f->rcd) vSamples.push_back(it->second);
        }
        std::vector<Point3*> vPoints;
        for (Point3& p : vSamples) vPoints.push_back(&p);
        Vector3 normal;
        Point3 centroid;
        if (!estimateNNV(vPoints, normal, centroid)) return 0.5 * count;
        const Vector3 axes[3] = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
        return (1.0 - std::abs(getAngleDeg(normal, axes[f->dir / 2]) - 90.0) / 90.0) * 5.0;
    }

    void thinBorder(const List& list) {
        bestFirst(
            list, [&](Facet* f) { return thinWeight(f); }, false,
            [&](double w, Facet* f) {
                const double fresh = thinWeight(f);
                if (w > fresh) return fresh;
                f->component = -1;
                return 0.0;
            });
    }

    void name() {
        int up1 = 0, up2 = 0;
        for (const Facet& f : vFacets) {
            up1 += f.dir == 5 && f.component == g1;
            up2 += f.dir == 5 && f.component == g2;
        }
        for (Facet& f : vFacets) {
            const int nameOf1 = up2 > up1 ? 0 : 1;
            f.component = f.component == g1 ? nameOf1 : f.component == g2 ? 1 - nameOf1 : -1;
        }
    }

    void mend() {
        for (Facet& f : vFacets) {
            if (f.component != -1) continue;
            std::set<int> sLabels;
            for (int edge = 0; edge < 4; ++edge) {
                const int other = neig(&f, edge)->component;
                if (other >= 0) sLabels.insert(other);
            }
            if (sLabels.size() == 1) f.component = *sLabels.begin();
        }
    }
};

}  // namespace zef_test
