#pragma once
// The game engine: its state, initialisation, the tick and its frames, shooting, the status
// display and the game's own commands.

#include "GameScreen.h"
#include "GameWindow.h"
#include "MemoryDC.h"
#include "Sound.h"
#include "clsBird.h"
#include "runtime.h"

#include <QTimer>
#include <array>
#include <memory>

namespace modGame {

using runtime::Boolean;
using runtime::Integer;
using runtime::Long;

// Bird slots, and the flying birds that end a game; bullets of a full gun.
inline constexpr Integer MaxBirds = 10;
inline constexpr Integer FullGun = 10;

inline constexpr Long StateTitle = 0;
inline constexpr Long StatePlaying = 1;
inline constexpr Long StatePaused = 2;

inline Long GameState = StateTitle;
inline Long TickCount = 0;
inline Long Score = 0;
inline Integer TimerInterval = 0;
inline Boolean SoundEnabled = runtime::False;
inline QTimer* GameTimer = nullptr;
inline std::unique_ptr<GameScreen> PlayScreen;
inline std::array<std::unique_ptr<clsBird>, 10> Birds;
inline Integer BirdsLeft = 0;
inline Integer Bullets = 0;
inline Boolean TitleReady = runtime::False;
inline std::unique_ptr<MemoryDC> TitleImage;
inline std::unique_ptr<MemoryDC> TitleMask;
inline std::unique_ptr<Sound> GunFire;
inline std::unique_ptr<Sound> GunCock;
inline std::unique_ptr<Sound> GunEmpty;

// The main window the engine draws on and reports to; set before InitGame.
inline GameWindow* Window = nullptr;

void InitGame();
void NewGame();

void GameTick();
void PlayFrame();
void PauseFrame();
void TitleFrame();
void InitTitle();
void LaunchBird();
void MoveBirds();
void GameOver();

void Shoot(Integer x, Integer y);
void AddBullet(const Boolean& withSound);

void UpdateStatus();

void Go();
void PauseGame();
void StopGame();
void ToggleSound();
void SpeedUp();
void SlowDown();

// True once InitGame has created every object, so a tick may run.
bool Ready();

} // namespace modGame
