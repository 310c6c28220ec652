import { render } from 'preact';
import 'uplot/dist/uPlot.min.css';
import './style/base.css';
import './style/head.css';
import './style/filters.css';
import './style/table.css';
import './style/narrow.css';
import { App } from './view/app';

render(<App />, document.getElementById('page')!);
