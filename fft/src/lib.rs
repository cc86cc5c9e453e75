//! The seven functions of FFTW 3 (double precision) that Harmotrack calls, on RustFFT and RealFFT.
//!
//! Arguments mean what they mean to FFTW: any length from 1 on, both signs, in place and out of place,
//! nothing normalised; from lines to samples, the imaginary parts of the first line and of the middle
//! one count for nothing. What differs is better than promised: the input of a transform out of place
//! is never destroyed, flags count for nothing, and a lack of memory is a null plan.
//!
//! Threads: plans are made and ended under one mutex of the process; each may be executed while others
//! are. `fftw_execute` allocates nothing. No function prints, and no panic leaves one.

mod memory;
mod plan;

use plan::{bytes_of_planning, Line, Plan};
use rustfft::FftDirection;
use std::alloc::{GlobalAlloc, Layout, System};
use std::ffi::c_void;
use std::os::raw::{c_int, c_uint};
use std::panic::{catch_unwind, AssertUnwindSafe};
use std::ptr::null_mut;
use std::sync::Mutex;

const FORWARD: c_int = -1;
const BACKWARD: c_int = 1;

/// What FFTW has under this name: who carries out the transforms, ended by a zero.
#[no_mangle]
#[allow(non_upper_case_globals)]
pub static fftw_version: [u8; 14] = *b"rustfft-6.4.1\0";

static PLANNING: Mutex<()> = Mutex::new(());

/// Runs what takes memory or gives it back: one thread at a time, and nothing of a panic is seen.
fn planning<T>(step: impl FnOnce() -> Option<T>) -> Option<T> {
    catch_unwind(AssertUnwindSafe(|| {
        let _one_at_a_time = PLANNING.lock().unwrap_or_else(|poisoned| poisoned.into_inner());
        std::panic::set_hook(Box::new(|_| {}));
        step()
    }))
    .unwrap_or(None)
}

/// A pointer to a new plan; null for a length below 1, and if memory does not suffice.
fn plan_or_null(length: c_int, make: impl FnOnce(usize) -> Option<Box<Plan>>) -> *mut Plan {
    usize::try_from(length)
        .ok()
        .filter(|&length| length > 0)
        .and_then(|length| planning(|| make(length)))
        .map_or(null_mut(), Box::into_raw)
}

/// X[k] = Σ x[m] exp(-2πi km/n), k = 0 .. n/2
///
/// `input` has n samples, `output` n/2 + 1 lines (rounded down).
#[no_mangle]
pub extern "C" fn fftw_plan_dft_r2c_1d(
    n: c_int,
    input: *mut f64,
    output: *mut Line,
    _flags: c_uint,
) -> *mut Plan {
    plan_or_null(n, |length| Plan::real_forward(length, input, output))
}

/// x[m] = Σ X[k] exp(2πi km/n), k = 0 .. n - 1, where X[n - k] is the conjugate of X[k]
///
/// `input` has n/2 + 1 lines (rounded down), `output` n samples.
#[no_mangle]
pub extern "C" fn fftw_plan_dft_c2r_1d(
    n: c_int,
    input: *mut Line,
    output: *mut f64,
    _flags: c_uint,
) -> *mut Plan {
    plan_or_null(n, |length| Plan::real_backward(length, input, output))
}

/// X[k] = Σ x[m] exp(sign 2πi km/n), k = 0 .. n - 1; a sign other than 1 and -1 gives no plan
#[no_mangle]
pub extern "C" fn fftw_plan_dft_1d(
    n: c_int,
    input: *mut Line,
    output: *mut Line,
    sign: c_int,
    _flags: c_uint,
) -> *mut Plan {
    let direction = match sign {
        FORWARD => FftDirection::Forward,
        BACKWARD => FftDirection::Inverse,
        _ => return null_mut(),
    };
    plan_or_null(n, |length| Plan::complex(length, input, output, direction))
}

/// Carries out a plan; nothing if it is null.
///
/// # Safety
/// The plan is one of ours, and its arrays are there.
#[no_mangle]
pub unsafe extern "C" fn fftw_execute(plan: *mut Plan) {
    if let Some(plan) = plan.as_mut() {
        let _ = catch_unwind(AssertUnwindSafe(|| plan.execute()));
    }
}

/// Ends a plan; nothing if it is null.
///
/// # Safety
/// The plan is one of ours and not used any more.
#[no_mangle]
pub unsafe extern "C" fn fftw_destroy_plan(plan: *mut Plan) {
    if !plan.is_null() {
        planning(|| {
            drop(Box::from_raw(plan));
            Some(())
        });
    }
}

/// In front of each array that is handed out stands how large the whole is; a cache line, so that
/// the array begins with one.
const HEADER: usize = 64;

fn array_layout(count: usize) -> Option<Layout> {
    let bytes = count.checked_mul(std::mem::size_of::<f64>())?.checked_add(HEADER)?;
    Layout::from_size_align(bytes, HEADER).ok()
}

/// Memory for so many numbers, on a boundary of 64 bytes. Null if there is none, and also if there is
/// none to plan their transform in: who sees that an array is missing hears of it in time.
#[no_mangle]
pub extern "C" fn fftw_alloc_real(count: usize) -> *mut f64 {
    allocated(count).unwrap_or(null_mut())
}

fn allocated(count: usize) -> Option<*mut f64> {
    let layout = array_layout(count)?;
    let start = unsafe { System.alloc(layout) };
    if start.is_null() {
        return None;
    }
    if !bytes_of_planning(count).map_or(false, memory::is_there) {
        unsafe { System.dealloc(start, layout) };
        return None;
    }
    unsafe {
        start.cast::<usize>().write(layout.size());
        Some(start.add(HEADER).cast())
    }
}

/// Gives an array back; nothing if it is null.
///
/// # Safety
/// The array is of `fftw_alloc_real` and not used any more.
#[no_mangle]
pub unsafe extern "C" fn fftw_free(array: *mut c_void) {
    if array.is_null() {
        return;
    }
    let start = array.cast::<u8>().sub(HEADER);
    let size = start.cast::<usize>().read();
    System.dealloc(start, Layout::from_size_align_unchecked(size, HEADER));
}
