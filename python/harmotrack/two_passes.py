"""Run-up and coast-down, each with results of its own."""

from __future__ import annotations

from collections.abc import Iterator
from dataclasses import dataclass
from pathlib import Path
from typing import TYPE_CHECKING, Any

from harmotrack.order_analysis import OrderAnalysis

if TYPE_CHECKING:
    import pandas as pd
    from matplotlib.axes import Axes


@dataclass(frozen=True, eq=False)
class TwoPasses:
    """What an analysis found while the speed rose, and what while it fell.

        run = harmotrack.analyze("up_and_down.flac", passes="apart")
        run.rising.plot_order_map()
        run.falling.order_amplitudes - run.rising.order_amplitudes

    Both have the same axes, so that xarray subtracts them as they are; speeds that one of them did
    not pass hold NaN there. The signals over the angle, the order spectrogram and the speed over
    the time belong to the whole recording, and stand in both.
    """

    rising: OrderAnalysis
    falling: OrderAnalysis

    def __iter__(self) -> Iterator[OrderAnalysis]:
        """The rising pass, then the falling one."""
        return iter((self.rising, self.falling))

    @property
    def measured(self) -> dict[str, OrderAnalysis]:
        """The passes by name, "rising" and "falling", without one that passed no speed."""
        both = {"rising": self.rising, "falling": self.falling}
        return {name: one for name, one in both.items() if one.measured.any()}

    @property
    def channels(self) -> tuple[str, ...]:
        """Names of the channels."""
        return self.rising.channels

    @property
    def title(self) -> str:
        """Name of the recording."""
        return self.rising.title

    @property
    def remarks(self) -> tuple[str, ...]:
        """As those of OrderAnalysis; both passes have the same."""
        return self.rising.remarks

    def save(self, path: str | Path) -> Path:
        """Stores both in one file, as OrderAnalysis.save() does, each in a group of its own;
        load() gives both again."""
        from harmotrack import storage

        return storage.save(self, path)

    def tables(self) -> dict[str, pd.DataFrame]:
        """The tables of OrderAnalysis.tables(), with the pass in the first column."""
        from harmotrack import storage

        return storage.tables(self)

    def save_tables(self, folder: str | Path, kind: str = "csv") -> list[Path]:
        """Writes tables() into a folder, as OrderAnalysis.save_tables() does."""
        from harmotrack import storage

        return storage.save_tables(self, folder, kind)

    def plot_orders(self, channel: str | int | None = None, **options: Any) -> Axes:
        """Order cuts of both passes in one picture: rising drawn through, falling dashed."""
        from harmotrack import plots

        return plots.orders_of_passes(self, channel, **options)

    def __repr__(self) -> str:
        return f"<TwoPasses\n  rising: {self.rising!r}\n  falling: {self.falling!r}>"
