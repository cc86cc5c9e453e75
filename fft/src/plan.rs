//! One transform of one length, over the arrays that it was made for.

use crate::memory;
use realfft::{ComplexToReal, RealFftPlanner, RealToComplex};
use rustfft::{num_complex::Complex, Fft, FftDirection, FftPlanner};
use std::slice::{from_raw_parts, from_raw_parts_mut};
use std::sync::Arc;

pub type Line = Complex<f64>;

/// What a plan for so many values may allocate while it is made, all of it added up. The most that was
/// ever measured is 17 lines a value (every length to 20000, and each seventh prime and 6000 others to
/// 300000), for primes whose transforms go through longer ones; the rest is margin.
pub fn bytes_of_planning(length: usize) -> Option<usize> {
    const LINES_PER_VALUE: usize = 32;
    const ITS_OWN: usize = 1 << 16;
    length
        .checked_mul(LINES_PER_VALUE * std::mem::size_of::<Line>())?
        .checked_add(ITS_OWN)
}

/// A transform with its arrays and all the memory that it works in.
///
/// `input` and `output` may be the same address. Otherwise the input stays as it is.
pub struct Plan {
    transform: Transform,
    scratch: Vec<Line>,
}

enum Transform {
    /// `copy` has the samples: the transform works in its input.
    RealForward {
        fft: Arc<dyn RealToComplex<f64>>,
        input: *const f64,
        output: *mut Line,
        copy: Vec<f64>,
    },
    /// `copy` has the lines.
    RealBackward {
        fft: Arc<dyn ComplexToReal<f64>>,
        input: *const Line,
        output: *mut f64,
        copy: Vec<Line>,
    },
    Complex {
        fft: Arc<dyn Fft<f64>>,
        input: *const Line,
        output: *mut Line,
    },
}

fn zeros(length: usize) -> Vec<Line> {
    vec![Line::default(); length]
}

/// Makes a plan, or none if memory does not suffice. One thread at a time.
fn make(length: usize, plan: impl FnOnce() -> Plan) -> Option<Box<Plan>> {
    memory::with_reserve(bytes_of_planning(length)?, || Box::new(plan()))
}

impl Plan {
    pub fn real_forward(length: usize, input: *const f64, output: *mut Line) -> Option<Box<Plan>> {
        make(length, || {
            let fft = RealFftPlanner::new().plan_fft_forward(length);
            let scratch = zeros(fft.get_scratch_len());
            let copy = vec![0.0; length];
            Plan { transform: Transform::RealForward { fft, input, output, copy }, scratch }
        })
    }

    pub fn real_backward(length: usize, input: *const Line, output: *mut f64) -> Option<Box<Plan>> {
        make(length, || {
            let fft = RealFftPlanner::new().plan_fft_inverse(length);
            let scratch = zeros(fft.get_scratch_len());
            let copy = zeros(length / 2 + 1);
            Plan { transform: Transform::RealBackward { fft, input, output, copy }, scratch }
        })
    }

    pub fn complex(
        length: usize,
        input: *const Line,
        output: *mut Line,
        direction: FftDirection,
    ) -> Option<Box<Plan>> {
        make(length, || {
            let fft = FftPlanner::new().plan_fft(length, direction);
            let scratch = zeros(if input == output as *const Line {
                fft.get_inplace_scratch_len()
            } else {
                fft.get_immutable_scratch_len()
            });
            Plan { transform: Transform::Complex { fft, input, output }, scratch }
        })
    }

    /// Transforms what the input holds now. Allocates nothing.
    ///
    /// # Safety
    /// The arrays are there, in the sizes of the transform, and nobody else uses them or the plan.
    pub unsafe fn execute(&mut self) {
        let scratch = &mut self.scratch;
        match &mut self.transform {
            Transform::RealForward { fft, input, output, copy } => {
                let length = copy.len();
                copy.copy_from_slice(from_raw_parts(*input, length));
                let lines = from_raw_parts_mut(*output, length / 2 + 1);
                // Fails for arrays of other sizes alone.
                let _ = fft.process_with_scratch(copy, lines, scratch);
            }
            Transform::RealBackward { fft, input, output, copy } => {
                let length = fft.len();
                copy.copy_from_slice(from_raw_parts(*input, length / 2 + 1));
                without_imaginary_ends(copy, length);
                let samples = from_raw_parts_mut(*output, length);
                let _ = fft.process_with_scratch(copy, samples, scratch);
            }
            Transform::Complex { fft, input, output } => {
                let lines = from_raw_parts_mut(*output, fft.len());
                if *input == *output as *const Line {
                    fft.process_with_scratch(lines, scratch);
                } else {
                    let samples = from_raw_parts(*input, fft.len());
                    fft.process_immutable_with_scratch(samples, lines, scratch);
                }
            }
        }
    }
}

/// The first line, and the middle one of an even length, are their own mirror images: what is
/// imaginary in them counts for nothing.
fn without_imaginary_ends(lines: &mut [Line], length: usize) {
    lines[0].im = 0.0;
    if length % 2 == 0 {
        lines[length / 2].im = 0.0;
    }
}

#[cfg(test)]
mod tests {
    use super::*;
    use crate::memory::tests::bytes_taken;
    use std::ptr::null_mut;

    fn bytes_of_a_plan(length: usize) -> usize {
        let (samples, lines): (*mut f64, *mut Line) = (null_mut(), null_mut());
        let other = 64 as *mut Line;
        let taken = [
            bytes_taken(|| Plan::real_forward(length, samples, lines)),
            bytes_taken(|| Plan::real_backward(length, lines, samples)),
            bytes_taken(|| Plan::complex(length, lines, lines, FftDirection::Forward)),
            bytes_taken(|| Plan::complex(length, lines, other, FftDirection::Inverse)),
        ];
        taken.into_iter().max().unwrap()
    }

    fn is_prime(n: usize) -> bool {
        n > 1 && (2..).take_while(|d| d * d <= n).all(|d| n % d != 0)
    }

    /// Every length up to 4096, and beyond it those of which planning makes the most: primes next to
    /// powers of two, their products, and powers.
    #[test]
    fn planning_takes_two_thirds_of_its_reserve_at_most() {
        let mut lengths: Vec<usize> = (1..=4096).collect();
        for power in 12..=18 {
            let two = 1usize << power;
            let above = (two + 1..).find(|&n| is_prime(n)).unwrap();
            let below = (1..two).rev().find(|&n| is_prime(n)).unwrap();
            lengths.extend([two, above, below, 2 * above, 3 * below, 7 * above]);
        }
        lengths.extend([6561, 59049, 15625, 78125, 16807, 117649, 14641, 161051]);
        lengths.extend([101 * 103, 509 * 521, 127 * 127, 360360, 262143, 262145, 248867]);
        let worst = lengths
            .into_iter()
            .map(|n| (bytes_of_a_plan(n) as f64 / bytes_of_planning(n).unwrap() as f64, n))
            .fold((0.0, 0), |a, b| if a.0 > b.0 { a } else { b });
        assert!(worst.0 <= 2.0 / 3.0, "{} of the reserve for {} values", worst.0, worst.1);
    }
}
