#pragma once

class MainWindow;

// What the tour does to the window by hand, as a user would with the keyboard.
namespace TourSteps {

// Types the start of a name into the setup screen's network field, so that its suggestions open.
void openSuggestions(MainWindow& window);

} // namespace TourSteps
