#include <tarnkit/tarnkit.h>

#include <iostream>

using namespace Tarn;

// Counts the blocks of a phase of work and takes them from the default manager.
class CCountingManager : public IMemoryManager {
public:
    int taken = 0;
    int out = 0;

    void* Alloc(int size) override {
        void* block = GetDefaultMemoryManager().Alloc(size);
        taken++;
        out++;
        return block;
    }
    void Free(void* block) override {
        GetDefaultMemoryManager().Free(block);
        out--;
    }
};

int main() {
    CCountingManager counter;
    {
        CMemoryManagerSwitcher switcher(&counter);
        CArray<int> numbers{1, 2, 3};
        numbers.SetSize(1000);
    }
    std::cout << counter.taken << " blocks taken, " << counter.out << " still out\n";

    CHeapManager heap;
    heap.Create();
    CArray<int> kept;
    {
        CMemoryManagerSwitcher switcher(&heap);
        kept.Add(2026);
    }
    heap.Destroy(false); // refused: a block is out
    std::cout << "The heap is " << (heap.Handle() != nullptr ? "kept for " : "gone with ") << kept[0] << '\n';
    kept.FreeBuffer(); // goes back to its heap, whatever manager is current
    heap.Destroy(false);
    std::cout << "The heap is " << (heap.Handle() != nullptr ? "kept" : "gone") << '\n';

    CStackManager stack;
    CStackManagerState mark;
    stack.Alloc(100);
    stack.GetState(mark);
    stack.Alloc(5000);
    stack.Reset(mark); // drops what was taken since, however much it is
    std::cout << stack.AllocatedSize() << " bytes are on the stack\n";

    COneBlockAllocator buffer(100'000);
    try {
        buffer.SetSize(buffer.ReservedSize() + 1);
    } catch (CMemoryException* e) {
        std::cout << "The buffer is full and still has " << buffer.AllocatedSize() << " bytes\n";
        e->Delete();
    }
}
