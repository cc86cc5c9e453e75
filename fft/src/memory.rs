//! The crate's heap, and what makes a lack of memory in planning a value.
//!
//! A Rust program ends when an allocation fails. Plans are therefore made over a reserve, a block that
//! is taken beforehand and is as large as all that planning may allocate in all. Where the system has
//! no more, allocations are served out of the reserve; the plan is then given up, and the reserve with
//! it. So a plan either lies in memory of the system, or is none.

use std::alloc::{GlobalAlloc, Layout, System};
use std::sync::atomic::{AtomicUsize, Ordering::Relaxed};

/// Memory of the system and, while it is open, of the reserve.
struct Heap;

#[global_allocator]
static HEAP: Heap = Heap;

static RESERVE: Reserve = Reserve {
    start: AtomicUsize::new(0),
    size: AtomicUsize::new(0),
    used: AtomicUsize::new(0),
};

/// Addresses, of which `used` counts bytes from the start. Nothing is given back to it.
struct Reserve {
    start: AtomicUsize,
    size: AtomicUsize,
    used: AtomicUsize,
}

impl Reserve {
    fn take(&self, layout: Layout) -> *mut u8 {
        let bytes = layout.size() + layout.align();
        let first = self.used.fetch_add(bytes, Relaxed);
        if first + bytes > self.size.load(Relaxed) {
            return std::ptr::null_mut();
        }
        let address = self.start.load(Relaxed) + first + layout.align() - 1;
        (address & !(layout.align() - 1)) as *mut u8
    }

    fn holds(&self, address: *mut u8) -> bool {
        let start = self.start.load(Relaxed);
        (start..start + self.size.load(Relaxed)).contains(&(address as usize))
    }
}

unsafe impl GlobalAlloc for Heap {
    unsafe fn alloc(&self, layout: Layout) -> *mut u8 {
        #[cfg(test)]
        tests::count(layout);
        let address = System.alloc(layout);
        if address.is_null() {
            RESERVE.take(layout)
        } else {
            address
        }
    }

    unsafe fn dealloc(&self, address: *mut u8, layout: Layout) {
        if !RESERVE.holds(address) {
            System.dealloc(address, layout);
        }
    }
}

/// The open reserve; ends it when it goes out of scope.
struct OpenReserve {
    start: *mut u8,
    layout: Layout,
}

impl OpenReserve {
    fn of(bytes: usize) -> Option<Self> {
        let layout = Layout::from_size_align(bytes, 64).ok()?;
        let start = unsafe { System.alloc(layout) };
        if start.is_null() {
            return None;
        }
        RESERVE.start.store(start as usize, Relaxed);
        RESERVE.size.store(bytes, Relaxed);
        RESERVE.used.store(0, Relaxed);
        Some(OpenReserve { start, layout })
    }

    fn was_touched(&self) -> bool {
        RESERVE.used.load(Relaxed) > 0
    }
}

impl Drop for OpenReserve {
    fn drop(&mut self) {
        RESERVE.size.store(0, Relaxed);
        RESERVE.start.store(0, Relaxed);
        unsafe { System.dealloc(self.start, self.layout) };
    }
}

/// Makes something that allocates no more than so many bytes, each allocation counted with its
/// alignment; `None` if there was not that much memory. One thread at a time.
pub fn with_reserve<T>(bytes: usize, make: impl FnOnce() -> T) -> Option<T> {
    let reserve = OpenReserve::of(bytes)?;
    let made = make();
    // What is dropped goes before the reserve, in which it may lie.
    if reserve.was_touched() {
        drop(made);
        return None;
    }
    Some(made)
}

/// Whether that much could be had at this moment.
pub fn is_there(bytes: usize) -> bool {
    Layout::from_size_align(bytes, 64).map_or(false, |layout| unsafe {
        let start = System.alloc(layout);
        if !start.is_null() {
            System.dealloc(start, layout);
        }
        !start.is_null()
    })
}

#[cfg(test)]
pub mod tests {
    use super::*;
    use std::cell::Cell;

    thread_local! {
        static COUNTED: Cell<usize> = const { Cell::new(0) };
    }

    pub fn count(layout: Layout) {
        // A thread that ends has no cell any more, and still frees and allocates.
        let _ = COUNTED.try_with(|sum| sum.set(sum.get() + layout.size() + layout.align()));
    }

    /// All that was allocated meanwhile, as the reserve counts it.
    pub fn bytes_taken<T>(make: impl FnOnce() -> T) -> usize {
        let before = COUNTED.with(Cell::get);
        let made = make();
        let taken = COUNTED.with(Cell::get) - before;
        drop(made);
        taken
    }
}
