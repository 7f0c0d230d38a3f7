"""End-to-end tests of what is captured: the real service with a game list of its own, and
games that come, go, hide and cover each other, judged by what the service says of itself.

usage: targets.py --bin FOLDER [NAME...]      runs all tests, or those whose name contains NAME
"""

import os
import sys
import time

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.join(HERE, "..", "..", "scripts"))
sys.path.insert(0, HERE)
from desktop import Desktop, record, wait_for  # noqa: E402
import run  # noqa: E402

TESTS = []


def test(function):
    TESTS.append(function)
    return function


def held(stats):
    return float(stats["buffered_seconds"])


def captures(desktop, name, seconds=15.0):
    """Waits until the target of that name is captured, and returns what is then told."""
    return desktop.wait_stats(f"{name} captured", lambda s: s["target_name"] == name
                              and s["capturing"] == "1", seconds)


def stays(desktop, name, seconds):
    """Watches a stretch of capture; the target must be the same all the while."""
    begin = held(desktop.stats())

    def grown(stats):
        assert stats["target_name"] == name, f"{stats['target_name']} in the place of {name}"
        return held(stats) > begin + seconds
    return desktop.wait_stats(f"{seconds} s more of {name}", grown, seconds * 3 + 20)


@test
def the_target_follows_the_list(options):
    with Desktop(options.bin) as desktop:
        desktop.start_manager()
        blocks, editor = desktop.install_game("blocks"), desktop.install_game("editor")
        racer = desktop.install_game("racer", known=True)
        favourite = desktop.install_game("favourite")
        desktop.write_game_list(f'path:"{favourite}"', "    video.fps = 20", "any-game")
        desktop.start_service(settings=run.common(replay__duration_seconds=120))
        desktop.wait_stats("nothing to capture", lambda s: s["no_target"] == "1")

        desktop.start_game("--full-screen", fps=run.FPS, title="Blocks: level 1", program=blocks)
        stats = captures(desktop, "blocks")
        assert stats["target_description"] == "Blocks: level 1", stats
        assert stats["target_path"] == blocks and stats["target_is_window"] == "1", stats
        assert (stats["source_width"], stats["source_height"]) == ("1280", "720"), stats
        blocks_window = desktop.window_of("Blocks: level 1")

        desktop.start_game(fps=1, title="An editor", size="800x600", program=editor)
        editor_window = desktop.window_of("An editor")
        desktop.bring_up(editor_window)
        wait_for("the editor in front", lambda: desktop.in_front() == editor_window)
        stays(desktop, "blocks", 4)
        desktop.minimise(blocks_window)
        stays(desktop, "blocks", 4)

        desktop.start_game(fps=run.FPS, title="Racer", size="640x480", program=racer)
        racer_window = desktop.window_of("Racer")
        stats = captures(desktop, "racer")
        assert (stats["source_width"], stats["source_height"]) == ("640", "480"), stats
        assert stats["target_custom_settings"] == "0", stats

        begin = time.monotonic()
        game = desktop.start_game(fps=run.FPS, title="Favourite", size="320x240",
                                  program=favourite)
        stats = captures(desktop, "favourite")
        print(f"    a higher entry was taken after {time.monotonic() - begin:.1f} s")
        assert stats["target_custom_settings"] == "1" and stats["fps"] == "20", stats
        desktop.bring_up(racer_window)
        wait_for("the racer in front", lambda: desktop.in_front() == racer_window)
        stays(desktop, "favourite", 4)

        desktop.end(game)
        stats = captures(desktop, "racer")
        assert stats["fps"] == str(run.FPS), stats
        desktop.stop_service()


@test
def a_game_that_returns_keeps_its_history_and_another_replaces_it(options):
    with Desktop(options.bin) as desktop:
        desktop.start_manager()
        blocks, racer = desktop.install_game("blocks"), desktop.install_game("racer")
        desktop.write_game_list("any-game")
        game = desktop.start_game("--full-screen", fps=run.FPS, title="Blocks", program=blocks)
        desktop.start_service(settings=run.common(replay__duration_seconds=120))
        before = held(record(desktop, 6))
        desktop.end(game)
        desktop.wait_stats("the game's end", lambda s: s["no_target"] == "1")
        game = desktop.start_game("--full-screen", fps=run.FPS, title="Blocks", program=blocks)
        before = held(desktop.wait_stats("the game's return", lambda s: s["capturing"] == "1"
                                         and held(s) > before + 1))

        desktop.end(game)
        desktop.start_game("--full-screen", fps=run.FPS, title="Racer", program=racer)
        captures(desktop, "racer")
        stats = desktop.wait_stats("both games' footage", lambda s: held(s) > before + 10)
        longest = held(stats)

        def trimmed(stats):
            nonlocal longest
            longest = max(longest, held(stats))
            return held(stats) < longest - before + 3
        stats = desktop.wait_stats("the other game's footage alone", trimmed)
        print(f"    {before:.1f} s of the old game went at {longest:.1f} s")
        assert longest - before > 13, "the old game's footage is kept for a while"
        assert stats["history_resets"] == "0" and stats["target_name"] == "racer", stats
        desktop.stop_service()


@test
def without_a_window_manager_a_full_screen_game_wins_over_the_display(options):
    with Desktop(options.bin) as desktop:
        blocks = desktop.install_game("blocks")
        desktop.write_game_list("any-game", "desktop")
        desktop.start_service(settings=run.common())
        stats = desktop.wait_stats("the display", lambda s: s["capturing"] == "1")
        assert stats["target_is_window"] == "0" and stats["target_name"] == "", stats
        assert stats["target_description"] == "Primary display: 1280x720 (Primary Monitor)", stats
        game = desktop.start_game(fps=run.FPS, title="Blocks", program=blocks)
        captures(desktop, "blocks")
        desktop.end(game)
        desktop.wait_stats("the display again", lambda s: s["capturing"] == "1"
                           and s["target_is_window"] == "0")
        desktop.stop_service()


if __name__ == "__main__":
    sys.exit(run.main(TESTS, "targets", __doc__))
