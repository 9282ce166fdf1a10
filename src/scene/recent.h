// The last N items of a stream, oldest first: the classifier's memory of
// exposures and of each hypothesis's frame pairs.
#ifndef KEVRA_SCENE_RECENT_H
#define KEVRA_SCENE_RECENT_H

namespace kevra_scene {

template <class T, int N>
class Recent {
public:
    void clear() { count_ = 0; }
    // Drops the oldest item when full.
    void add(const T& item) {
        if (count_ == N) {
            for (int j = 1; j < N; ++j) items_[j - 1] = items_[j];
            --count_;
        }
        items_[count_++] = item;
    }
    int size() const { return count_; }
    const T& operator[](int i) const { return items_[i]; }

private:
    T items_[N];
    int count_ = 0;
};

}  // namespace kevra_scene

#endif  // KEVRA_SCENE_RECENT_H
