const kStep = 20;

/** Makes a separator change the width of the part on its left, with the pointer and with the arrow keys. */
export function setUpDivider(divider: HTMLElement, left: HTMLElement, layout: HTMLElement): void {
  const smallest = 200;
  const largest = (): number => Math.max(smallest, layout.clientWidth - 520);
  const tell = (width: number): void => {
    divider.setAttribute("aria-valuemin", String(smallest));
    divider.setAttribute("aria-valuemax", String(largest()));
    divider.setAttribute("aria-valuenow", String(Math.round(width)));
  };
  const resize = (width: number): void => {
    const inside = Math.min(largest(), Math.max(smallest, width));
    layout.style.setProperty("--series-width", `${inside}px`);
    tell(inside);
  };
  divider.addEventListener("pointerdown", (event) => {
    divider.setPointerCapture(event.pointerId);
    event.preventDefault();
  });
  divider.addEventListener("pointermove", (event) => {
    if (divider.hasPointerCapture(event.pointerId)) {
      resize(event.clientX - left.getBoundingClientRect().left);
    }
  });
  divider.addEventListener("keydown", (event) => {
    const widths: Record<string, number> = {
      ArrowLeft: left.clientWidth - kStep,
      ArrowRight: left.clientWidth + kStep,
      Home: smallest,
      End: largest(),
    };
    const width = widths[event.key];
    if (width !== undefined) {
      resize(width);
      event.preventDefault();
    }
  });
  tell(left.clientWidth);
}
