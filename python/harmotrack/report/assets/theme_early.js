// Runs before the page is drawn, so that a dark room sees no white flash.
if (window.matchMedia("(prefers-color-scheme: dark)").matches) {
  document.documentElement.dataset.theme = "dark";
}
