/** A button that changes between dark and light. The system says the first; the choice is forgotten with the page. */
export function setUpTheme(button: HTMLElement): void {
  const system = matchMedia("(prefers-color-scheme: dark)");
  const isDark = (): boolean => {
    const chosen = document.documentElement.dataset.theme;
    return chosen ? chosen === "dark" : system.matches;
  };
  const name = (): void => {
    button.textContent = isDark() ? "Light colours" : "Dark colours";
  };
  button.addEventListener("click", () => {
    document.documentElement.dataset.theme = isDark() ? "light" : "dark";
    name();
  });
  system.addEventListener("change", name);
  name();
}
