// Nearest-point search in a cloud: a tree that splits at the mean along the one of thirteen directions in which the
// points spread most.
//
// A search goes by the splits. Where they tell little, as for a cloud that lies flat and far off, it soon asks for the
// boxes around the points as well, which take nothing from the answer.
//
// The tree holds indices only and reads the points from the cloud at search time. It must not outlive the cloud, and
// answers wrongly once points have moved.
#pragma once

#include <atomic>
#include <cstdint>

namespace kestrova {

class LYRPoint3d;
class LYRPointCloud3d;

class LYRBSPnode
{
public:
    static constexpr int sk_nMaxLeaf = 5;

    explicit LYRBSPnode(const LYRPointCloud3d& rCloud);
    /** Reorders the indices. */
    LYRBSPnode(const LYRPointCloud3d& rCloud, int* pIndices, int nCount) { make(rCloud, pIndices, nCount); }
    LYRBSPnode(const LYRBSPnode&) = delete;
    LYRBSPnode& operator=(const LYRBSPnode&) = delete;
    ~LYRBSPnode();

    [[nodiscard]] int findNearestIndex(const LYRPointCloud3d& rCloud, const LYRPoint3d& p) const;
    /** As above, below one node: improves on nBest at rBestSquare. */
    int findNearestIndex(const LYRPointCloud3d& rCloud, const LYRPoint3d& p, const double* pProjections, int nBest,
                         double& rBestSquare) const;

    // Cost of all searches of the process, never reset. Searches in parallel lose counts.
    static std::atomic<std::int32_t> num_leaf;    // leaves visited
    static std::atomic<std::int32_t> num_closest; // nodes entered
    static std::atomic<std::int32_t> num_both;    // interior nodes of which both sides were searched

private:
    struct Search;
    struct Box // around the points of a node; inside out without any
    {
        double m_adLow[3];
        double m_adHigh[3];
    };
    struct Split
    {
        int m_nDirection;
        double m_dThreshold;
        LYRBSPnode* m_pBelow; // owned
        LYRBSPnode* m_pAbove; // owned
    };

    void make(const LYRPointCloud3d& rCloud, int* pIndices, int nCount);
    void makeLeaf(const int* pIndices, int nCount);
    void split(const LYRPointCloud3d& rCloud, int* pIndices, int nCount);
    [[nodiscard]] bool isLeaf() const { return m_nCount <= sk_nMaxLeaf; }
    void fitBox(const LYRPointCloud3d& rCloud);
    void search(Search& rSearch) const;
    void searchLeaf(Search& rSearch) const;
    [[nodiscard]] double squareDistanceToBox(const LYRPoint3d& p) const;

    std::int32_t m_nCount = 0; // points under the node; above sk_nMaxLeaf the node is a split
    Box m_box;
    union
    {
        std::int32_t m_anIndices[sk_nMaxLeaf];
        Split m_split;
    };
};

class LYRBSP
{
public:
    explicit LYRBSP(const LYRPointCloud3d& rCloud) : m_pCloud(&rCloud), m_root(rCloud) {}
    LYRBSP(const LYRBSP&) = delete;
    LYRBSP& operator=(const LYRBSP&) = delete;
    virtual ~LYRBSP() = default;

    /**
     * The index of a point that no other is nearer to p than; -1 when there is none within 3e17 (a squared distance of
     * 1e35). Of several at the same distance the one visited first wins, which need not be the lowest index.
     *
     * Six or more points that are all within LYRPoint3d's epsilon of the first of them may be represented by it. So an
     * epsilon below the squared distances that matter keeps the search exact and folds copies. Without one (it starts
     * at 0) only points that coincide to the last bit fold, and the search is exact for every cloud; set an epsilon
     * before indexing, or remove the copies, when a cloud holds many NEAR copies and the tree should stay small.
     */
    [[nodiscard]] int findNearestIndex(const LYRPoint3d& p) const { return m_root.findNearestIndex(*m_pCloud, p); }

private:
    const LYRPointCloud3d* m_pCloud; // not owned
    LYRBSPnode m_root;
};

} // namespace kestrova
