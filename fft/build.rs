//! The name by which the loader of Linux knows the library that is built, whatever its file is
//! called: who asks for FFTW by name gets what is open under that name.

fn main() {
    println!("cargo:rerun-if-changed=build.rs");
    if std::env::var("CARGO_CFG_TARGET_OS").as_deref() == Ok("linux") {
        println!("cargo:rustc-cdylib-link-arg=-Wl,-soname,libfftw3.so.3");
    }
}
